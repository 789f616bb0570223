#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/NumberText.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "support/CommaLocale.h"
#include "support/LogCapture.h"

namespace kestrel::platform {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

TEST(NumberTextTest, DecimalTextHasNoExponentAndReadsBackExactly) {
  EXPECT_EQ(decimalText(1700000000.0), "1700000000");
  EXPECT_EQ(decimalText(1700000000.25), "1700000000.25");
  EXPECT_EQ(decimalText(0.1), "0.1");
  EXPECT_EQ(decimalText(-2.5), "-2.5");
  EXPECT_EQ(decimalText(0.0), "0");
  EXPECT_EQ(decimalText(1e21), "1000000000000000000000");
  EXPECT_EQ(decimalText(1.5e-7), "0.00000015");
  EXPECT_EQ(decimalText(std::nan("")), "nan");
  EXPECT_EQ(decimalText(-std::numeric_limits<double>::infinity()), "-inf");
  for (const double value : {std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(),
                             std::numeric_limits<double>::denorm_min(), 1.0 / 3.0, 9007199254740993.0}) {
    const std::string text = decimalText(value);
    EXPECT_EQ(text.find_first_of("eE"), std::string::npos) << text;
    EXPECT_EQ(leadingDouble(text), value) << text;
  }
}

TEST(NumberTextTest, LeadingIntegerSaturatesAtTheEdgesOfTheRange) {
  EXPECT_EQ(leadingInteger("-9223372036854775808"), kMin);
  EXPECT_EQ(leadingInteger("9223372036854775807"), kMax);
  EXPECT_EQ(leadingInteger("9223372036854775808"), kMax);
  EXPECT_EQ(leadingInteger("-9223372036854775809"), kMin);
  EXPECT_EQ(leadingInteger("123456789012345678901234567890"), kMax);
  EXPECT_EQ(leadingInteger("-000000000000000000000000000042"), -42);
  EXPECT_EQ(leadingInteger(" \t+42 apples"), 42);
  EXPECT_EQ(leadingInteger("-3,4"), -3);
  for (const char* nothing : {"", "-", "+", "x1", " "}) EXPECT_EQ(leadingInteger(nothing), 0) << nothing;

  EXPECT_EQ(saturatedInteger(2.9), 2);
  EXPECT_EQ(saturatedInteger(-2.9), -2);
  EXPECT_EQ(saturatedInteger(-9223372036854775808.0), kMin);
  EXPECT_EQ(saturatedInteger(9223372036854775808.0), kMax);
  EXPECT_EQ(saturatedInteger(-1e300), kMin);
  EXPECT_EQ(saturatedInteger(std::numeric_limits<double>::infinity()), kMax);
  EXPECT_EQ(saturatedInteger(std::nan("")), 0);
}

// An application that switches the process to a German or French locale
// still gets '.' decimal points and ungrouped integers from every path.
TEST(NumberTextTest, CommaDecimalLocaleChangesNoText) {
  testing::LogCapture logs;
  const testing::CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << comma.reason();
  char direct[32];
  std::snprintf(direct, sizeof direct, "%.2f", 0.5);
  ASSERT_STREQ(direct, "0,50") << "the C library itself now writes a comma";

  EXPECT_EQ(formatString("(%f - START_DATE) <= %d AND %lu", 1763800000.25, 604800, 1234567ul),
            "(1763800000.250000 - START_DATE) <= 604800 AND 1234567");
  log("now %f", 0.5);
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"now 0.500000"});
  EXPECT_EQ(decimalText(1700000000.5), "1700000000.5");
  EXPECT_EQ(leadingDouble("1.5"), 1.5);
  EXPECT_EQ(leadingDouble("1,5"), 1.0);
  {
    // A scope on this thread, nested in the formatting path, puts it back.
    const ClassicLocaleScope classic;
    std::snprintf(direct, sizeof direct, "%.2f", 0.5);
    EXPECT_STREQ(direct, "0.50");
  }
  std::snprintf(direct, sizeof direct, "%.2f", 0.5);
  EXPECT_STREQ(direct, "0,50") << "the thread's locale is back";
}

}  // namespace
}  // namespace kestrel::platform
