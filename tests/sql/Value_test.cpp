// A value's text form and its numeric readings: no exponent, no locale, no
// undefined conversion at the edges of the 64-bit range.
#include <KestrelDatabase/sql/Value.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "support/CommaLocale.h"

namespace kestrel {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

// A type that only knows how to stream itself.
struct Score {
  int points;
  friend std::ostream& operator<<(std::ostream& out, const Score& score) {
    return out << score.points << " pts, " << score.points / 4.0;
  }
};

TEST(ValueTest, NumbersAreWrittenInPlainDecimalsAndReadWithoutOverflow) {
  // A whole-second clock must not reach SQL text as "1.7e+09".
  EXPECT_EQ(Value(1700000000.0).description(), "1700000000");
  EXPECT_EQ(Value(1700000000.25).description(), "1700000000.25");
  EXPECT_EQ(Value(0.1).description(), "0.1");
  EXPECT_EQ(Value(1e-7).description(), "0.0000001");
  EXPECT_EQ(Value(kMin).description(), "-9223372036854775808");

  EXPECT_EQ(Value(1e300).toInt64(), kMax);
  EXPECT_EQ(Value(-1e300).toInt64(), kMin);
  EXPECT_EQ(Value(std::nan("")).toInt64(), 0);
  EXPECT_EQ(Value(-7.9).toInt64(), -7);
  EXPECT_EQ(Value("-9223372036854775808").toInt64(), kMin);
  EXPECT_EQ(Value("99999999999999999999").toInt64(), kMax);
  EXPECT_EQ(Value(" 2.5e1 goals").toDouble(), 25.0);
  EXPECT_EQ(Value("x").toDouble(), 0.0);
}

TEST(ValueTest, CommaDecimalLocaleChangesNoValueText) {
  const testing::CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << comma.reason();
  EXPECT_EQ(Value(1700000000.25).description(), "1700000000.25");
  EXPECT_EQ(Value("1.5").toDouble(), 1.5);
  // The application's global C++ locale would group digits and write a comma.
  EXPECT_EQ(Value(Score{1234}), Value("1234 pts, 308.5"));
}

}  // namespace
}  // namespace kestrel
