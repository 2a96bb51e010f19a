#include "platform/x11/PasteboardRepresentations.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QImageReader>
#include <algorithm>

#include "platform/x11/RichTextHtml.h"

namespace wordloom {

namespace {

bool isImage(const PasteboardItem& item) {
    return item.type.rfind("image/", 0) == 0;
}

bool isRtf(const PasteboardItem& item) {
    return item.type == pasteboardType::rtf || item.type == "application/rtf" ||
           item.type == "text/richtext";
}

/// An image and the format its bytes are really in ("png", "jpeg", ...): the type it came with
/// is only a guess from the file.
struct DecodedImage {
    QImage image;
    std::string format;
};

DecodedImage decode(const PasteboardItem& item) {
    QByteArray bytes =
        QByteArray::fromRawData(item.data.data(), static_cast<qsizetype>(item.data.size()));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    DecodedImage decoded;
    decoded.format = reader.format().toLower().toStdString();
    decoded.image = reader.read();
    if (decoded.format == "jpg") {
        decoded.format = "jpeg";
    }
    return decoded;
}

std::string pngData(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) {
        throw PasteboardFormatError("The image could not be converted to PNG.");
    }
    return bytes.toStdString();
}

}  // namespace

std::vector<PasteboardItem> withX11Representations(std::vector<PasteboardItem> items) {
    const auto has = [&](const char* type) {
        return std::any_of(items.begin(), items.end(),
                           [&](const PasteboardItem& item) { return item.type == type; });
    };
    std::vector<PasteboardItem> result;
    bool pngAdded = false;
    bool htmlAdded = has(pasteboardType::html);
    for (auto& item : items) {
        if (isImage(item)) {
            // Every image is decoded once: bytes that are no image must fail here, before
            // anything in the user's document is erased, not in the application pasting them.
            const DecodedImage decoded = decode(item);
            if (decoded.image.isNull()) {
                throw PasteboardFormatError(
                    "The image (" + item.type + ", " + std::to_string(item.data.size()) +
                    " bytes) cannot be read: it is damaged or in a format Wordloom cannot "
                    "decode (PNG, JPEG, GIF, BMP and ICO can be).");
            }
            if (decoded.format == "png") {
                if (!pngAdded) {
                    result.push_back({pasteboardType::png, std::move(item.data)});
                    pngAdded = true;
                }
                continue;
            }
            if (!pngAdded) {
                result.push_back({pasteboardType::png, pngData(decoded.image)});
                pngAdded = true;
            }
            result.push_back({"image/" + decoded.format, std::move(item.data)});
        } else if (isRtf(item) && !htmlAdded) {
            auto html = htmlFromRichText(item.data);
            result.push_back(std::move(item));
            result.push_back({pasteboardType::html, std::move(html)});
            htmlAdded = true;
        } else {
            result.push_back(std::move(item));
        }
    }
    return result;
}

}  // namespace wordloom
