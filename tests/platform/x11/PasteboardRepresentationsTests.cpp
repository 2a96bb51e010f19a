#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>

#include "platform/x11/PasteboardRepresentations.h"

namespace wordloom {
namespace {

std::string encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes.toStdString();
}

QImage sample() {
    QImage image(7, 5, QImage::Format_RGB32);
    image.fill(Qt::red);
    image.setPixel(3, 2, qRgb(0, 0, 255));
    return image;
}

QImage decoded(const std::string& bytes) {
    QImage image;
    image.loadFromData(QByteArray::fromStdString(bytes));
    return image;
}

TEST(PasteboardRepresentationsTests, RichTextGainsHtmlRightAfterItsRtf) {
    const std::vector<PasteboardItem> items = {{"text/rtf", "{\\rtf1 \\b hi}"},
                                               {"text/plain", "hi"}};
    const auto result = withX11Representations(items);
    ASSERT_EQ(result.size(), 3u);
    EXPECT_EQ(result[0], items[0]);
    EXPECT_EQ(result[1].type, "text/html");
    EXPECT_NE(result[1].data.find("<b>hi</b>"), std::string::npos);
    EXPECT_EQ(result[2], items[1]);

    // HTML the record already has is kept as it is, and plain text is left alone.
    const std::vector<PasteboardItem> withHtml = {{"text/html", "<i>mine</i>"},
                                                  {"text/rtf", "{\\rtf1 x}"}};
    EXPECT_EQ(withX11Representations(withHtml), withHtml);
    const std::vector<PasteboardItem> plain = {{"text/plain;charset=utf-8", "x"}};
    EXPECT_EQ(withX11Representations(plain), plain);
}

TEST(PasteboardRepresentationsTests, ImagesAreOfferedAsPngFirstWithTheSamePixels) {
    for (const char* format : {"BMP", "JPEG", "PPM"}) {
        SCOPED_TRACE(format);
        const std::string type = "image/" + QByteArray(format).toLower().toStdString();
        const auto result = withX11Representations({{type, encoded(sample(), format)}});
        ASSERT_EQ(result.size(), 2u);
        EXPECT_EQ(result[0].type, "image/png");
        EXPECT_EQ(result[1].type, type);
        const QImage png = decoded(result[0].data);
        EXPECT_EQ(png.size(), QSize(7, 5));
        if (std::string(format) == "BMP") {  // lossless: the very pixels
            EXPECT_EQ(png.pixel(3, 2), qRgb(0, 0, 255));
            EXPECT_EQ(png.pixel(0, 0), qRgb(255, 0, 0));
        }
    }
    // The type an image comes with is a guess from its file: its bytes decide.
    const auto mislabelled = withX11Representations({{"image/png", encoded(sample(), "BMP")}});
    ASSERT_EQ(mislabelled.size(), 2u);
    EXPECT_EQ(mislabelled[0].type, "image/png");
    EXPECT_EQ(decoded(mislabelled[0].data).size(), QSize(7, 5));
    EXPECT_EQ(mislabelled[0].data.substr(1, 3), "PNG");
    EXPECT_EQ(mislabelled[1].type, "image/bmp");

    // A PNG goes as it is, not re-encoded.
    const std::vector<PasteboardItem> png = {{"image/png", encoded(sample(), "PNG")}};
    EXPECT_EQ(withX11Representations(png), png);
}

TEST(PasteboardRepresentationsTests, AnImageThatDoesNotDecodeIsAnErrorThatSaysSo) {
    for (const std::string& bytes : {std::string("\x89PNG\r\n\x1a\n garbage"), std::string(),
                                     encoded(sample(), "PNG").substr(0, 40)}) {
        try {
            withX11Representations({{"image/png", bytes}});
            ADD_FAILURE() << "no error for " << bytes.size() << " bytes";
        } catch (const PasteboardFormatError& error) {
            EXPECT_NE(std::string(error.what()).find("cannot be read"), std::string::npos);
        }
    }
}

}  // namespace
}  // namespace wordloom
