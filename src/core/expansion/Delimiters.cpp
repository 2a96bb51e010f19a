#include "core/expansion/Delimiters.h"

#include <algorithm>

namespace wordloom {

bool isDelimiter(std::string_view text) {
    if (text.size() == 1) {
        switch (text.front()) {
            case ' ':
            case '\t':
            case '\n':
            case '\r':
            case '.':
            case ',':
            case '!':
            case '?':
            case ';':
            case ':':
            case '(':
            case ')':
            case '[':
            case ']':
            case '{':
            case '}':
                return true;
            default:
                return false;
        }
    }
    return std::find(delimiterCharacters.begin(), delimiterCharacters.end(), text) !=
           delimiterCharacters.end();
}

}  // namespace wordloom
