#include "core/transfer/CsvReader.h"

#include "core/transfer/ImportError.h"

namespace wordloom {

std::vector<std::vector<std::string>> readCsv(std::string_view text, std::size_t maxRows) {
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row;
    std::string field;
    bool quoted = false;
    bool fieldStarted = false;
    auto endField = [&] {
        row.push_back(std::move(field));
        field.clear();
        fieldStarted = false;
    };
    auto endRow = [&] {
        endField();
        if (!(row.size() == 1 && row[0].empty())) {
            if (rows.size() >= maxRows) {
                throw ImportError("The file holds more than " + std::to_string(maxRows) +
                                  " rows, more than one import takes.");
            }
            rows.push_back(std::move(row));
        }
        row.clear();
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"') {
                if (i + 1 < text.size() && text[i + 1] == '"') {
                    field += '"';
                    ++i;
                } else {
                    quoted = false;
                }
            } else {
                field += c;
            }
            continue;
        }
        switch (c) {
            case '"':
                if (!fieldStarted && field.empty()) {
                    quoted = true;
                    fieldStarted = true;
                } else {
                    field += c;
                }
                break;
            case ',':
                endField();
                break;
            case '\r':
                if (i + 1 < text.size() && text[i + 1] == '\n') {
                    break;
                }
                endRow();
                break;
            case '\n':
                endRow();
                break;
            default:
                field += c;
                fieldStarted = true;
        }
    }
    if (fieldStarted || !field.empty() || !row.empty()) {
        endRow();
    }
    return rows;
}

}  // namespace wordloom
