#include "base/DateText.h"

#include <gtest/gtest.h>

namespace sonmere {
namespace {

TEST(DateText, ISODatesReadBackAndDamagedOnesDoNot) {
  using std::chrono::sys_days;
  using std::chrono::year;
  const Date date = sys_days{year{2028} / 2 / 29} + std::chrono::hours(23) + fromMilliseconds(59'999);
  EXPECT_EQ(iso8601Text(date), "2028-02-29T23:00:59Z");
  EXPECT_EQ(dateFromISO8601("2028-02-29T23:00:59Z"), std::chrono::floor<std::chrono::seconds>(date));
  EXPECT_EQ(iso8601Text(Date(Duration(-1))), "1969-12-31T23:59:59Z");
  for (const char* damaged :
       {"2999-01-01T00:00:00Z", "1600-01-01T00:00:00Z", "", "2028-02-29T23:00:59", "2027-02-29T23:00:59Z",
        "2028-02-29T24:00:59Z", "2028-02-29T23:60:59Z", "2028-02-29 23:00:59Z", "2028-02-29T23:00:59Zx"})
    EXPECT_FALSE(dateFromISO8601(damaged)) << damaged;
}

}  // namespace
}  // namespace sonmere
