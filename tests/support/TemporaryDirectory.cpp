#include "support/TemporaryDirectory.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>

namespace wordloom::test {

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "wordloom-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace wordloom::test
