#include "core/library/SnippetImageStore.h"

#include <system_error>

#include "core/base/FileIO.h"

namespace fs = std::filesystem;

namespace wordloom {

SnippetImageStore::SnippetImageStore(fs::path folder) : folder_(std::move(folder)) {}

std::string SnippetImageStore::fileName(const Uuid& snippetId) {
    return snippetId.toString() + std::string(fileExtension);
}

void SnippetImageStore::ensureFolder() {
    std::lock_guard lock(folderCreatedLock_);
    if (folderCreated_) {
        return;
    }
    ensurePrivateFolder(folder_);
    folderCreated_ = true;
}

fs::path SnippetImageStore::imageURL(const Uuid& snippetId) {
    ensureFolder();
    return folder_ / fileName(snippetId);
}

void SnippetImageStore::write(const Uuid& snippetId, const Bytes& bytes) {
    const auto path = imageURL(snippetId);
    std::lock_guard lock(accessLock_);
    writeFileAtomically(
        path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

Bytes SnippetImageStore::read(const Uuid& snippetId) {
    const auto path = folder_ / fileName(snippetId);
    std::lock_guard lock(accessLock_);
    const auto text = readFile(path, fileSizeLimit::snippetPart);
    return Bytes(text.begin(), text.end());
}

void SnippetImageStore::remove(const Uuid& snippetId) {
    const auto path = folder_ / fileName(snippetId);
    std::lock_guard lock(accessLock_);
    std::error_code error;
    fs::remove(path, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        throw FileError("Couldn't remove \u201c" + path.filename().string() +
                        "\u201d: " + error.message());
    }
}

std::vector<Uuid> SnippetImageStore::storedIds() const {
    std::lock_guard lock(accessLock_);
    std::vector<Uuid> ids;
    std::error_code error;
    for (auto it = fs::directory_iterator(folder_, error); !error && it != fs::directory_iterator();
         it.increment(error)) {
        const auto& path = it->path();
        if (path.extension() != fileExtension || !it->is_regular_file()) {
            continue;
        }
        if (auto id = Uuid::parse(path.stem().string())) {
            ids.push_back(*id);
        }
    }
    return ids;
}

}  // namespace wordloom
