#include <gtest/gtest.h>

#include <string>

#include "platform/x11/RichTextHtml.h"

namespace wordloom {
namespace {

/// The body of the HTML document, without the wrapper every result has.
std::string body(const std::string& rtf) {
    const std::string html = htmlFromRichText(rtf);
    const std::string open = "<body>";
    const auto start = html.find(open);
    const auto end = html.rfind("</body>");
    EXPECT_NE(start, std::string::npos);
    EXPECT_NE(end, std::string::npos);
    return html.substr(start + open.size(), end - start - open.size());
}

const std::string p = "<p style=\"margin:0;white-space:pre-wrap\">";

TEST(RichTextHtmlTests, TextSystemDocumentKeepsParagraphsAndEmphasisAndDropsItsTables) {
    const std::string rtf =
        "{\\rtf1\\ansi\\ansicpg1252\\cocoartf2639\n"
        "\\cocoatextscaling0\\cocoaplatform0{\\fonttbl\\f0\\fswiss\\fcharset0 Helvetica;}\n"
        "{\\colortbl;\\red255\\green255\\blue255;}\n"
        "{\\*\\expandedcolortbl;;}\n"
        "\\paperw11900\\paperh16840\\margl1440\\margr1440\\vieww11520\\viewh8400\\viewkind0\n"
        "\\pard\\tx566\\pardirnatural\\partightenfactor0\n\n"
        "\\f0\\fs24 \\cf0 Dear \\b Anna\\b0 ,\\\n"
        "\\i see \\ul you\\ulnone \\i0 soon\\par\n"
        "\\par\n"
        "\\strike old\\strike0  new}";
    EXPECT_EQ(body(rtf), p + "Dear <b>Anna</b>,</p>" + p + "<i>see </i><i><u>you</u></i>soon</p>" +
                             p + "<br></p>" + p + "<s>old</s> new</p>");
}

TEST(RichTextHtmlTests, LinksBecomeAnchorsOnlyForAddressesAPasteMayFollow) {
    EXPECT_EQ(
        body("{\\rtf1 See {\\field{\\*\\fldinst{HYPERLINK \"https://example.com/?a=1&b=<2>\"}}"
             "{\\fldrslt \\ul our site}}.}"),
        p + "See <a href=\"https://example.com/?a=1&amp;b=&lt;2&gt;\"><u>our site</u></a>.</p>");
    EXPECT_EQ(body("{\\rtf1 {\\field{\\*\\fldinst HYPERLINK \"mailto:a@b.c\"}{\\fldrslt mail}}}"),
              p + "<a href=\"mailto:a@b.c\">mail</a></p>");
    EXPECT_EQ(body("{\\rtf1 {\\field{\\*\\fldinst{HYPERLINK \"javascript:alert(1)\"}}"
                   "{\\fldrslt click}}}"),
              p + "click</p>");
    EXPECT_EQ(body("{\\rtf1 {\\field{\\*\\fldinst{HYPERLINK \\\\l \"top\"}}{\\fldrslt up}}}"),
              p + "<a href=\"#top\">up</a></p>");
    // The link ends with its field.
    EXPECT_EQ(body("{\\rtf1 {\\field{\\*\\fldinst{HYPERLINK \"http://x\"}}{\\fldrslt a}} b}"),
              p + "<a href=\"http://x\">a</a> b</p>");
}

TEST(RichTextHtmlTests, TextIsEscapedAndDecodedFromItsCodePageAndUnicodeEscapes) {
    EXPECT_EQ(body("{\\rtf1 <b> & \\{x\\} \\\\ \"q\"}"), p + "&lt;b&gt; &amp; {x} \\ \"q\"</p>");
    EXPECT_EQ(body("{\\rtf1\\ansi\\ansicpg1252 caf\\'e9 \\'80 \\'93x\\'94}"),
              p + "caf\xC3\xA9 \xE2\x82\xAC \xE2\x80\x9Cx\xE2\x80\x9D</p>");
    EXPECT_EQ(body("{\\rtf1\\ansi\\ansicpg1251 \\'cf\\'f0\\'e8}"),
              p + "\xD0\x9F\xD1\x80\xD0\xB8</p>");
    // \u is followed by \uc replacement characters for readers that do not know it.
    EXPECT_EQ(body("{\\rtf1 \\u8364?\\uc2 \\u26481\\'93\\'8c  end}"),
              p + "\xE2\x82\xAC\xE6\x9D\xB1  end</p>");
    EXPECT_EQ(body("{\\rtf1 \\uc0 \\u-10179\\u-8704 !}"), p + "\xF0\x9F\x98\x80!</p>");
    EXPECT_EQ(body("{\\rtf1 a\\~b\\emdash c\\line d\\tab e\\lquote f\\rquote}"),
              p + "a\xC2\xA0"
                  "b\xE2\x80\x94"
                  "c<br>d\te\xE2\x80\x98"
                  "f\xE2\x80\x99</p>");
}

TEST(RichTextHtmlTests, DamagedOrForeignInputGivesWhatCouldBeRead) {
    EXPECT_EQ(body("{\\rtf1 \\b cut off\\'"), p + "<b>cut off</b></p>");
    EXPECT_EQ(body("{\\rtf1 a}}} b"), p + "a b</p>");
    EXPECT_EQ(body("{\\rtf1 {\\pict\\pngblip\\bin4 }}}}} after}"), p + " after</p>");
    EXPECT_EQ(body(""), "");
    EXPECT_EQ(body("plain <text>\nsecond \xFF"),
              p + "plain &lt;text&gt;</p>" + p + "second \xEF\xBF\xBD</p>");
    const std::string deep = "{\\rtf1 " + std::string(100000, '{') + "x";
    EXPECT_NO_THROW(htmlFromRichText(deep));
    EXPECT_NO_THROW(htmlFromRichText("{\\rtf1 \\u-10179 \\u99999999999999999 \\uc99999 \\u65?"));
}

}  // namespace
}  // namespace wordloom
