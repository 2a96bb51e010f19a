#include "core/transfer/ExportError.h"

namespace wordloom {

ExportError::ExportError(Kind kind, std::string detail)
    : std::runtime_error(description(kind)), kind_(kind), detail_(std::move(detail)) {}

const char* ExportError::description(Kind kind) {
    switch (kind) {
        case Kind::encodingFailed:
            return "Failed to encode the export data.";
        case Kind::writeFailed:
            return "Failed to write the export file.";
    }
    return "Failed to write the export file.";
}

}  // namespace wordloom
