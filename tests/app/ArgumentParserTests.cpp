#include <gtest/gtest.h>

#include "app/cli/ArgumentParser.h"
#include "app/cli/CommandErrors.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

const std::vector<OptionSpec> kSpecs{{"json", Kind::flag},
                                     {"label", Kind::value},
                                     {"tag", Kind::repeatedValue},
                                     {"output", Kind::value, "o"}};

TEST(ArgumentParser, SeparatesOptionsFlagsAndPositionals) {
    const auto parsed = parseArguments(
        {"first", "--json", "--label", "Sig", "--tag=a", "--tag", "b", "-o", "out.json", "last"},
        kSpecs);
    EXPECT_TRUE(parsed.has("json"));
    EXPECT_EQ(parsed.value("label"), "Sig");
    EXPECT_EQ(parsed.values("tag"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(parsed.value("output"), "out.json");
    EXPECT_EQ(parsed.positionals(), (std::vector<std::string>{"first", "last"}));
    EXPECT_FALSE(parsed.has("missing"));
}

TEST(ArgumentParser, ValuesMayLookLikeOptionsOrBeEmpty) {
    const auto parsed = parseArguments({"--label", "--json", "--", "--tag", "-5"}, kSpecs);
    EXPECT_EQ(parsed.value("label"), "--json");
    EXPECT_FALSE(parsed.has("json"));
    EXPECT_EQ(parsed.positionals(), (std::vector<std::string>{"--tag", "-5"}));
    EXPECT_EQ(parseArguments({"--label="}, kSpecs).value("label"), "");
}

TEST(ArgumentParser, RejectsWhatItCannotRead) {
    EXPECT_THROW(parseArguments({"--bogus"}, kSpecs), UsageError);
    EXPECT_THROW(parseArguments({"-x"}, kSpecs), UsageError);
    EXPECT_THROW(parseArguments({"--label"}, kSpecs), UsageError);
    EXPECT_THROW(parseArguments({"--json=yes"}, kSpecs), UsageError);
    EXPECT_THROW(parseArguments({"--label", "a", "--label", "b"}, kSpecs), UsageError);
}

}  // namespace
}  // namespace wordloom::cli
