#include "core/library/PersistenceService.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/base/Log.h"
#include "core/base/Uuid.h"
#include "core/library/LibraryCoding.h"
#include "core/library/SnippetImageStore.h"

namespace fs = std::filesystem;

namespace wordloom {
namespace {

constexpr std::string_view kFinishedPrefix = ".backup-finished-";

const Logger& loadLogger() {
    static const Logger logger("PersistenceService.load");
    return logger;
}

const Logger& restoreLogger() {
    static const Logger logger("PersistenceService.restore");
    return logger;
}

std::size_t index(LibraryFile file) {
    return static_cast<std::size_t>(file);
}

std::string quotedName(std::string_view name) {
    return "\u201c" + std::string(name) + "\u201d";
}

// Reads a file straight into a buffer with the padding the parser needs, so that a large
// library is neither zero-filled nor copied a second time. Nothing when it does not exist.
std::optional<simdjson::padded_string> readPadded(const fs::path& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw FileError("Couldn't read " + quotedName(path.filename().string()) + ": " +
                        std::strerror(errno));
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat info {};
    if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        // Let the general reader produce the precise message.
        const auto text = readFile(path, fileSizeLimit::libraryFile);
        return simdjson::padded_string(text);
    }
    if (static_cast<std::uint64_t>(info.st_size) > fileSizeLimit::libraryFile) {
        throw FileError(fileTooLargeMessage(path, static_cast<std::uint64_t>(info.st_size),
                                            fileSizeLimit::libraryFile));
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    simdjson::padded_string buffer(size);
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t n = ::read(fd, buffer.data() + filled, size - filled);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            throw FileError("Couldn't read " + quotedName(path.filename().string()) + ": " +
                            std::strerror(errno));
        }
        if (n == 0) {
            break;
        }
        filled += static_cast<std::size_t>(n);
    }
    char probe = 0;
    if (filled < size || ::read(fd, &probe, 1) != 0) {
        // The file changed size while we read it; read it again the simple way.
        const auto text = readFile(path, fileSizeLimit::libraryFile);
        return simdjson::padded_string(text);
    }
    return buffer;
}

// Parses a library file with this thread's parser, which keeps its buffers between loads.
// The element is valid until the next parse on the same thread.
std::optional<JsonElement> parseIfExists(const fs::path& path) {
    const auto text = readPadded(path);
    if (!text) {
        return std::nullopt;
    }
    thread_local simdjson::dom::parser parser;
    JsonElement root;
    if (const auto error = parser.parse(*text).get(root)) {
        throw JsonError("The file " + quotedName(path.filename().string()) +
                        " is not valid JSON: " + simdjson::error_message(error));
    }
    return root;
}

JsonArray requireArray(JsonElement root, const fs::path& path, std::string_view what) {
    auto array = json::asArray(root);
    if (!array) {
        throw JsonError("The file " + quotedName(path.filename().string()) +
                        " does not hold a list of " + std::string(what) + ".");
    }
    return *array;
}

bool isOlderThan(const fs::path& path, std::chrono::seconds age) {
    std::error_code error;
    const auto modified = fs::last_write_time(path, error);
    if (error) {
        return false;
    }
    return fs::file_time_type::clock::now() - modified >= age;
}

// Moves every file under `staging` back to the same place under `dataFolder`.
void moveStagedFilesBack(const fs::path& staging, const fs::path& dataFolder) {
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(staging, error);
         !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (!it->is_regular_file()) {
            continue;
        }
        const auto destination = dataFolder / fs::relative(it->path(), staging);
        std::error_code moveError;
        fs::create_directories(destination.parent_path(), moveError);
        fs::rename(it->path(), destination, moveError);
        if (moveError) {
            restoreLogger().error("Couldn't put back " + it->path().string() + ": " +
                                  moveError.message());
        }
    }
}

}  // namespace

PersistenceService::PersistenceService(fs::path dataFolder, const Clock& clock)
    : dataFolder_(std::move(dataFolder)), clock_(clock), installer_(&writeFileAtomically) {
    ensurePrivateFolder(dataFolder_);
    // Files from before they were written private, or copied in by hand, become private too;
    // only ours, as the folder given may hold other things.
    std::size_t tightened = 0;
    for (const auto file : {LibraryFile::snippets, LibraryFile::groups, LibraryFile::settings,
                            LibraryFile::versions}) {
        tightened += removeGroupAndOtherAccess(path(file)) ? 1 : 0;
    }
    tightened += removeGroupAndOtherAccess(imagesFolder()) ? 1 : 0;
    std::error_code error;
    for (auto it = fs::directory_iterator(imagesFolder(), error);
         !error && it != fs::directory_iterator(); it.increment(error)) {
        if (it->path().extension() == SnippetImageStore::fileExtension) {
            tightened += removeGroupAndOtherAccess(it->path()) ? 1 : 0;
        }
    }
    if (tightened > 0) {
        loadLogger().info("Made " + std::to_string(tightened) +
                          " file(s) in the data folder readable by their owner only.");
    }
}

fs::path PersistenceService::path(LibraryFile file) const {
    switch (file) {
        case LibraryFile::snippets:
            return dataFolder_ / snippetsFileName;
        case LibraryFile::groups:
            return dataFolder_ / groupsFileName;
        case LibraryFile::settings:
            return dataFolder_ / settingsFileName;
        case LibraryFile::versions:
            return dataFolder_ / versionsFileName;
    }
    return {};
}

std::size_t PersistenceService::cleanUpInterruptedWork(std::chrono::seconds minimumAge) {
    std::lock_guard restore(restoreLock_);
    std::lock_guard write(writeLock_);
    std::size_t handled = 0;
    auto removeTemporaries = [&](const fs::path& folder) {
        std::error_code error;
        for (auto it = fs::directory_iterator(folder, error);
             !error && it != fs::directory_iterator(); it.increment(error)) {
            const auto name = it->path().filename().string();
            if (isAtomicWriteLeftover(name) && isOlderThan(it->path(), minimumAge)) {
                std::error_code removeError;
                if (fs::remove(it->path(), removeError)) {
                    ++handled;
                }
            }
        }
    };
    std::vector<fs::path> stagingFolders;
    std::vector<fs::path> finishedFolders;
    std::error_code error;
    for (auto it = fs::directory_iterator(dataFolder_, error);
         !error && it != fs::directory_iterator(); it.increment(error)) {
        const auto name = it->path().filename().string();
        if (!it->is_directory() || !isOlderThan(it->path(), minimumAge)) {
            continue;
        }
        if (name.starts_with(stagingPrefix)) {
            stagingFolders.push_back(it->path());
        } else if (name.starts_with(kFinishedPrefix)) {
            finishedFolders.push_back(it->path());
        }
    }
    // A staging folder that was never marked finished belongs to a restore that died midway:
    // its originals go back, so the library is the one from before the restore.
    for (const auto& staging : stagingFolders) {
        restoreLogger().info("Rolling back an interrupted backup restore: " +
                             staging.filename().string());
        moveStagedFilesBack(staging, dataFolder_);
        std::error_code removeError;
        fs::remove_all(staging, removeError);
        ++handled;
    }
    for (const auto& finished : finishedFolders) {
        std::error_code removeError;
        fs::remove_all(finished, removeError);
        ++handled;
    }
    removeTemporaries(dataFolder_);
    removeTemporaries(imagesFolder());
    return handled;
}

PersistenceService::SaveTicket PersistenceService::beginSave() {
    std::lock_guard lock(sequenceLock_);
    return SaveTicket{++saveSequence_, writeEpoch_};
}

bool PersistenceService::writeIfCurrent(LibraryFile file, SaveTicket ticket,
                                        std::string_view bytes) {
    std::lock_guard write(writeLock_);
    {
        std::lock_guard lock(sequenceLock_);
        if (restoreInProgress_ || ticket.epoch != writeEpoch_ ||
            ticket.sequence < lastWrittenSequence_[index(file)]) {
            return false;
        }
    }
    writeFileAtomically(path(file), bytes);
    std::lock_guard lock(sequenceLock_);
    lastWrittenSequence_[index(file)] =
        std::max(lastWrittenSequence_[index(file)], ticket.sequence);
    return true;
}

bool PersistenceService::saveSnippets(const std::vector<Snippet>& snippets, SaveTicket ticket) {
    return writeIfCurrent(LibraryFile::snippets, ticket, encodeSnippetList(snippets));
}

bool PersistenceService::saveGroups(const std::vector<SnippetGroup>& groups, SaveTicket ticket) {
    return writeIfCurrent(LibraryFile::groups, ticket, encodeGroupList(groups));
}

bool PersistenceService::saveSettings(const AppSettings& settings, SaveTicket ticket) {
    JsonWriter w;
    encodeAppSettings(w, settings);
    return writeIfCurrent(LibraryFile::settings, ticket, w.take());
}

bool PersistenceService::saveSnippetVersions(const std::vector<SnippetVersion>& versions,
                                             SaveTicket ticket) {
    JsonWriter w;
    w.beginArray();
    for (const auto& version : versions) {
        encodeSnippetVersion(w, version);
    }
    w.endArray();
    return writeIfCurrent(LibraryFile::versions, ticket, w.take());
}

std::vector<Snippet> PersistenceService::loadSnippets() const {
    const auto file = path(LibraryFile::snippets);
    const auto document = parseIfExists(file);
    if (!document) {
        return {};
    }
    const auto array = requireArray(*document, file, "snippets");
    const auto now = clock_.now();
    std::vector<Snippet> snippets;
    snippets.reserve(array.size());
    std::size_t dropped = 0;
    for (auto element : array) {
        try {
            snippets.push_back(decodeSnippet(element, now));
        } catch (const DecodingError& error) {
            ++dropped;
            loadLogger().error(std::string("Skipping malformed snippet during load: ") +
                               error.what());
        }
    }
    if (dropped > 0) {
        loadLogger().error("Dropped " + std::to_string(dropped) +
                           " malformed snippet(s) during load.");
    }
    return snippets;
}

std::vector<SnippetGroup> PersistenceService::loadGroups() const {
    const auto file = path(LibraryFile::groups);
    const auto document = parseIfExists(file);
    if (!document) {
        return {};
    }
    const auto now = clock_.now();
    std::vector<SnippetGroup> groups;
    for (auto element : requireArray(*document, file, "groups")) {
        try {
            groups.push_back(decodeSnippetGroup(element, now));
        } catch (const DecodingError& error) {
            // Groups are decoded as a whole: one bad group makes the file unreadable.
            throw JsonError("The file " + quotedName(groupsFileName) +
                            " holds a group that cannot be read: " + error.what());
        }
    }
    return groups;
}

std::optional<AppSettings> PersistenceService::loadSettings() const {
    const auto file = path(LibraryFile::settings);
    const auto document = parseIfExists(file);
    if (!document) {
        return std::nullopt;
    }
    if (!json::asObject(*document)) {
        throw JsonError("The file " + quotedName(settingsFileName) +
                        " does not hold a settings object.");
    }
    return decodeAppSettings(*document);
}

std::vector<SnippetVersion> PersistenceService::loadSnippetVersions() const {
    const auto file = path(LibraryFile::versions);
    const auto document = parseIfExists(file);
    if (!document) {
        return {};
    }
    const auto now = clock_.now();
    std::vector<SnippetVersion> versions;
    for (auto element : requireArray(*document, file, "versions")) {
        try {
            versions.push_back(decodeSnippetVersion(element, now));
        } catch (const DecodingError& error) {
            throw JsonError("The file " + quotedName(versionsFileName) +
                            " holds a version that cannot be read: " + error.what());
        }
    }
    return versions;
}

ExportData PersistenceService::exportData(
    const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
    const AppSettings& settings,
    const std::function<std::optional<Bytes>(const Snippet&)>& readImage) const {
    ExportData data;
    data.groups = groups;
    data.settings = settings;
    data.exportedAt = clock_.now();
    data.snippets.reserve(snippets.size());
    for (auto snippet : snippets) {
        if (snippet.contentType == ContentType::image && !snippet.imageData) {
            std::optional<Bytes> bytes;
            try {
                bytes = readImage(snippet);
            } catch (const std::exception&) {
                bytes.reset();
            }
            if (!bytes) {
                throw BackupError::missingImageData(snippet.label);
            }
            snippet.imageData = std::move(bytes);
        }
        data.snippets.push_back(std::move(snippet));
    }
    return data;
}

void PersistenceService::setFileInstaller(FileInstaller installer) {
    std::lock_guard write(writeLock_);
    installer_ = std::move(installer);
}

PersistenceService::RestoredLibrary PersistenceService::restoreFromBackup(
    const ExportData& backup) {
    std::lock_guard restore(restoreLock_);
    {
        std::lock_guard lock(sequenceLock_);
        restoreInProgress_ = true;
        ++writeEpoch_;
    }
    struct ClearRestoreFlag {
        PersistenceService& service;
        ~ClearRestoreFlag() {
            std::lock_guard lock(service.sequenceLock_);
            service.restoreInProgress_ = false;
        }
    } clearFlag{*this};

    for (const auto& snippet : backup.snippets) {
        if (snippet.contentType == ContentType::image && !snippet.imageData) {
            throw BackupError::missingImageData(snippet.label);
        }
    }

    RestoredLibrary restored;
    restored.groups = backup.groups;
    restored.settings = backup.settings;
    restored.snippets.reserve(backup.snippets.size());
    std::vector<Replacement> replacements;
    for (auto snippet : backup.snippets) {
        if (snippet.imageData) {
            const auto fileName = snippet.id.toString() + ".bin";
            replacements.push_back(
                {imagesFolder() / fileName,
                 std::string(snippet.imageData->begin(), snippet.imageData->end())});
            snippet.imageFileName = fileName;
            snippet.imageData.reset();
        }
        restored.snippets.push_back(std::move(snippet));
    }
    replacements.push_back({path(LibraryFile::snippets), encodeSnippetList(restored.snippets)});
    replacements.push_back({path(LibraryFile::groups), encodeGroupList(restored.groups)});
    JsonWriter settingsWriter;
    encodeAppSettings(settingsWriter, restored.settings);
    replacements.push_back({path(LibraryFile::settings), settingsWriter.take()});

    const auto staging = dataFolder_ / (std::string(stagingPrefix) + Uuid::random().toString());
    std::lock_guard write(writeLock_);
    ensurePrivateFolder(staging);
    installReplacements(replacements, staging);

    // Renaming marks the restore as complete; a crash while removing the folder afterwards is
    // then cleaned up, not rolled back.
    const auto finished = dataFolder_ / (std::string(kFinishedPrefix) +
                                         staging.filename().string().substr(stagingPrefix.size()));
    std::error_code error;
    fs::rename(staging, finished, error);
    fs::remove_all(error ? staging : finished, error);
    if (error) {
        restoreLogger().error("Couldn't remove the restore folder: " + error.message());
    }
    return restored;
}

void PersistenceService::installReplacements(const std::vector<Replacement>& replacements,
                                             const fs::path& staging) {
    struct Entry {
        fs::path staged;
        bool moved = false;
        bool installed = false;
    };
    std::vector<Entry> entries(replacements.size());
    try {
        for (std::size_t i = 0; i < replacements.size(); ++i) {
            const auto& destination = replacements[i].url;
            auto& entry = entries[i];
            entry.staged = staging / fs::relative(destination, dataFolder_);
            // The image folder may be new; it is as private as the rest.
            ensurePrivateFolder(destination.parent_path());
            if (fs::exists(destination)) {
                fs::create_directories(entry.staged.parent_path());
                fs::rename(destination, entry.staged);
                entry.moved = true;
            }
            installer_(destination, replacements[i].data);
            entry.installed = true;
        }
    } catch (...) {
        std::vector<std::string> rollbackErrors;
        for (std::size_t i = entries.size(); i-- > 0;) {
            const auto& entry = entries[i];
            const auto& destination = replacements[i].url;
            std::error_code error;
            if (entry.installed) {
                fs::remove(destination, error);
                if (error) {
                    rollbackErrors.push_back(destination.filename().string() + ": " +
                                             error.message());
                    continue;
                }
            }
            if (entry.moved) {
                fs::rename(entry.staged, destination, error);
                if (error) {
                    rollbackErrors.push_back(destination.filename().string() + ": " +
                                             error.message());
                }
            }
        }
        if (!rollbackErrors.empty()) {
            std::string joined;
            for (const auto& message : rollbackErrors) {
                joined += (joined.empty() ? "" : "; ") + message;
            }
            // The staging folder keeps the originals that could not go back.
            throw BackupRestoreError(
                BackupRestoreError::rollbackDomain,
                "Backup restore failed and rollback was incomplete: " + joined);
        }
        std::error_code error;
        fs::remove_all(staging, error);
        throw;
    }
}

std::uint64_t PersistenceService::saveSequence() const {
    std::lock_guard lock(sequenceLock_);
    return saveSequence_;
}

std::uint64_t PersistenceService::lastWrittenSequence(LibraryFile file) const {
    std::lock_guard lock(sequenceLock_);
    return lastWrittenSequence_[index(file)];
}

std::uint64_t PersistenceService::writeEpoch() const {
    std::lock_guard lock(sequenceLock_);
    return writeEpoch_;
}

bool PersistenceService::restoreInProgress() const {
    std::lock_guard lock(sequenceLock_);
    return restoreInProgress_;
}

}  // namespace wordloom
