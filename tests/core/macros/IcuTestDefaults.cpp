#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace wordloom {
namespace {

// Date texts depend on ICU's default locale and time zone; pin them before any test runs.
class IcuDefaults : public ::testing::Environment {
  public:
    void SetUp() override {
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale("en_US"), status);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
    }
};

const auto* const registered = ::testing::AddGlobalTestEnvironment(new IcuDefaults);

}  // namespace
}  // namespace wordloom
