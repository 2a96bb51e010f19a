#pragma once

#include <functional>
#include <optional>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/sync/SyncErrors.h"
#include "core/sync/SyncRecord.h"

namespace wordloom {

/// The image bytes of an image snippet (they live in a side file, not in the record).
using SnippetImageReader = std::function<std::optional<Bytes>(const Snippet&)>;

/// The "Snippet" record of `snippet`, fields in their fixed order. `contentType` keeps the
/// values older copies understand (markdown and code travel as "plainText") and
/// `contentTypeV2` the true one. Fields that `previous` (the last server copy) had and this
/// encoding has not are sent as cleared, so that a removed hotkey or a restored snippet's
/// `deletedAt` disappears on the server too; the previous change tag is carried over.
/// Throws SyncImageAssetError::missingLocalBytes when an image snippet's bytes cannot be read:
/// its upload waits for them.
SyncRecord encodeSnippetRecord(const Snippet& snippet, const SnippetImageReader& readImage,
                               const SyncRecord* previous = nullptr);

/// The snippet a "Snippet" record describes. `contentTypeV2` is read first, then
/// `contentType`; missing fields take their defaults and missing dates `fallbackDate`. Image
/// bytes come back in `imageData`. Throws SyncRecordError::couldNotDecode.
Snippet decodeSnippetRecord(const SyncRecord& record, Timestamp fallbackDate);

SyncRecord encodeGroupRecord(const SnippetGroup& group, const SyncRecord* previous = nullptr);
SnippetGroup decodeGroupRecord(const SyncRecord& record, Timestamp fallbackDate);

/// A stable fingerprint of what a record says (type, name and fields; not the change tag):
/// two records with the same fingerprint need no upload.
std::string syncRecordFingerprint(const SyncRecord& record);

}  // namespace wordloom
