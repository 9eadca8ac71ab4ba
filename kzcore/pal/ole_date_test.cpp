// OLE dates against the C++ calendar (std::chrono) and the C library's strftime.
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/pal/oleaut.h>

namespace {

using namespace std::chrono;

constexpr sys_days kDayZero = sys_days{year{1899} / December / 30};

SYSTEMTIME Time(int y, int m, int d, int hh = 0, int mm = 0, int ss = 0, int ms = 0) {
  return SYSTEMTIME{static_cast<WORD>(y), static_cast<WORD>(m), 0, static_cast<WORD>(d),
                    static_cast<WORD>(hh), static_cast<WORD>(mm), static_cast<WORD>(ss), static_cast<WORD>(ms)};
}

std::string Narrow(BSTR text) { return std::string(text, text + SysStringLen(text)); }

TEST(OleDate, EveryDayMatchesTheCivilCalendar) {
  const sys_days first = sys_days{year{100} / January / 1}, last = sys_days{year{9999} / December / 31};
  for (sys_days day = first; day <= last; day += days{1}) {
    const year_month_day ymd{day};
    const auto serial = static_cast<double>((day - kDayZero).count());
    SYSTEMTIME st = Time(static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())),
                         static_cast<int>(static_cast<unsigned>(ymd.day())));
    double date = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&st, &date)) << serial;
    ASSERT_EQ(date, serial);
    // 06:00 of the day: the fraction's magnitude is the time, for days before day 0 too.
    SYSTEMTIME back{};
    ASSERT_TRUE(VariantTimeToSystemTime(serial >= 0 ? serial + 0.25 : serial - 0.25, &back)) << serial;
    ASSERT_EQ(back.wYear, st.wYear);
    ASSERT_EQ(back.wMonth, st.wMonth);
    ASSERT_EQ(back.wDay, st.wDay);
    ASSERT_EQ(back.wHour, 6);
    ASSERT_EQ(back.wDayOfWeek, weekday{day}.c_encoding());
  }
  SYSTEMTIME st{};
  EXPECT_FALSE(VariantTimeToSystemTime(-657435.0, &st));
  EXPECT_FALSE(VariantTimeToSystemTime(2958466.0, &st));
  EXPECT_FALSE(VariantTimeToSystemTime(std::nan(""), &st));
  UDATE udate{};
  ASSERT_EQ(VarUdateFromDate(43101.5, 0, &udate), S_OK);  // 2018-01-01 noon
  EXPECT_EQ(udate.wDayOfYear, 1);
  ASSERT_EQ(VarUdateFromDate(43465.0, 0, &udate), S_OK);  // 2018-12-31
  EXPECT_EQ(udate.wDayOfYear, 365);
}

TEST(OleDate, TimeOfDayRoundsToTheSecond) {
  const struct {
    double date;
    int y, m, d, hh, mm, ss;
  } cases[] = {
      {0.5, 1899, 12, 30, 12, 0, 0},
      {43101 + 0.49 / 86400, 2018, 1, 1, 0, 0, 0},
      {43101 + 0.51 / 86400, 2018, 1, 1, 0, 0, 1},
      {43101 + 86399.6 / 86400, 2018, 1, 2, 0, 0, 0},   // carries into the next day
      {-1 - 86399.6 / 86400, 1899, 12, 30, 0, 0, 0},    // and for negative dates too
      {-2.75, 1899, 12, 28, 18, 0, 0},                  // the fraction counts forward from the day
      {2958465 + 86399.4 / 86400, 9999, 12, 31, 23, 59, 59},
  };
  for (const auto &c : cases) {
    SYSTEMTIME st{};
    ASSERT_TRUE(VariantTimeToSystemTime(c.date, &st)) << c.date;
    EXPECT_EQ(st.wYear * 10000 + st.wMonth * 100 + st.wDay, c.y * 10000 + c.m * 100 + c.d) << c.date;
    EXPECT_EQ(st.wHour * 10000 + st.wMinute * 100 + st.wSecond, c.hh * 10000 + c.mm * 100 + c.ss) << c.date;
    EXPECT_EQ(st.wMilliseconds, 0);
  }
  SYSTEMTIME st{};
  EXPECT_FALSE(VariantTimeToSystemTime(2958465 + 86399.6 / 86400, &st));  // would be year 10000
}

// Days out of the month's range move into the neighbouring month; months, hours, minutes and
// seconds out of range fail; years below 100 are two-digit years.
TEST(OleDate, SystemTimesAreNormalisedAsDocumented) {
  auto serial = [](int y, int m, int d) { return static_cast<double>((sys_days{year{y} / m / d} - kDayZero).count()); };
  const struct {
    SYSTEMTIME st;
    bool ok;
    double date;
  } cases[] = {
      {Time(2001, 2, 29), true, serial(2001, 3, 1)},
      {Time(2001, 2, 0), true, serial(2001, 1, 31)},
      {Time(2000, 2, 30), true, serial(2000, 3, 1)},
      {Time(2018, 0, 15), true, serial(2017, 12, 15)},
      {Time(2018, 13, 1), false, 0},
      {Time(2018, 1, 32), false, 0},
      {Time(2018, 1, 1, 24), false, 0},
      {Time(2018, 1, 1, 23, 60), false, 0},
      {Time(2018, 1, 1, 23, 59, 60), false, 0},
      {Time(2018, 1, 1, 12, 0, 0, 999), true, serial(2018, 1, 1) + 0.5},
      {Time(0, 1, 1), true, serial(2000, 1, 1)},
      {Time(49, 12, 31), true, serial(2049, 12, 31)},
      {Time(50, 1, 1), true, serial(1950, 1, 1)},
      {Time(1899, 12, 29, 18), true, -1.75},
      {Time(100, 1, 1), true, -657434},
      {Time(100, 0, 1), false, 0},
      {Time(9999, 12, 31, 23, 59, 59), true, serial(9999, 12, 31) + 86399.0 / 86400},
      {Time(10000, 1, 1), false, 0},
  };
  for (const auto &c : cases) {
    SYSTEMTIME st = c.st;
    double date = -1;
    const INT ok = SystemTimeToVariantTime(&st, &date);
    EXPECT_EQ(ok != 0, c.ok) << st.wYear << "-" << st.wMonth << "-" << st.wDay << " " << st.wHour;
    if (c.ok) {
      EXPECT_EQ(date, c.date) << st.wYear << "-" << st.wMonth << "-" << st.wDay;
    }
  }
}

// The text form of a random instant against strftime on the same calendar fields, and back.
TEST(OleDate, TextMatchesStrftimeAndReadsBack) {
  std::mt19937 random(99);
  for (int i = 0; i < 5000; ++i) {
    const int day = static_cast<int>(random() % (2958465 + 657434 + 1)) - 657434;
    const int seconds = static_cast<int>(random() % 86400);
    const double date = day >= 0 ? day + seconds / 86400.0 : day - seconds / 86400.0;
    const year_month_day ymd{kDayZero + days{day}};
    std::tm tm{};
    tm.tm_year = static_cast<int>(ymd.year()) - 1900;
    tm.tm_mon = static_cast<int>(static_cast<unsigned>(ymd.month())) - 1;
    tm.tm_mday = static_cast<int>(static_cast<unsigned>(ymd.day()));
    tm.tm_hour = seconds / 3600;
    tm.tm_min = seconds / 60 % 60;
    tm.tm_sec = seconds % 60;
    // Month, day and hour without leading zeros; the date part is left out on day 0 and the
    // time part at midnight.
    char want[64];
    std::string format = day == 0 ? "" : std::to_string(tm.tm_mon + 1) + "/" + std::to_string(tm.tm_mday) + "/" +
                                             std::to_string(tm.tm_year + 1900);
    if (seconds != 0 || day == 0) {
      const int hour12 = tm.tm_hour % 12 == 0 ? 12 : tm.tm_hour % 12;
      format += (format.empty() ? "" : " ") + std::to_string(hour12) + ":%M:%S %p";
    }
    std::strftime(want, sizeof want, format.c_str(), &tm);
    BSTR text = nullptr;
    ASSERT_EQ(VarBstrFromDate(date, 0, 0, &text), S_OK);
    ASSERT_EQ(Narrow(text), want) << date;
    double back = 0;
    ASSERT_EQ(VarDateFromStr(text, 1033, 0, &back), S_OK) << want;
    ASSERT_EQ(back, date) << want;
    SysFreeString(text);
    for (LCID lcid : {2057u, 1031u}) {
      ASSERT_EQ(VarBstrFromDate(date, lcid, 0, &text), S_OK);
      ASSERT_EQ(VarDateFromStr(text, lcid, 0, &back), S_OK) << Narrow(text);
      ASSERT_EQ(back, date) << Narrow(text);
      SysFreeString(text);
    }
  }
}

TEST(OleDate, ReadsTheDocumentedTextForms) {
  auto serial = [](int y, int m, int d) { return static_cast<double>((sys_days{year{y} / m / d} - kDayZero).count()); };
  const int this_year = static_cast<int>(year_month_day{floor<days>(system_clock::now())}.year());
  const struct {
    const char16_t *text;
    HRESULT hr;
    double date;
    ULONG flags;
  } cases[] = {
      {u"Jan 2, 2018", S_OK, serial(2018, 1, 2), 0},
      {u"2 January 2018", S_OK, serial(2018, 1, 2), 0},
      {u"Tuesday, January 2, 2018", S_OK, serial(2018, 1, 2), 0},
      {u"January 2018", S_OK, serial(2018, 1, 1), 0},
      {u"2018/1/2", S_OK, serial(2018, 1, 2), 0},
      {u"1-2-2018", S_OK, serial(2018, 1, 2), 0},
      {u"1/2/18", S_OK, serial(2018, 1, 2), 0},
      {u"1/2/50", S_OK, serial(1950, 1, 2), 0},
      {u"1/2", S_OK, serial(this_year, 1, 2), 0},
      {u"12:30 PM", S_OK, 45000.0 / 86400, 0},
      {u"12:00:00 AM", S_OK, 0, 0},
      {u"5 pm", S_OK, 17.0 / 24, 0},
      {u"1/2/2018 5:30:15 AM", S_OK, serial(2018, 1, 2) + 19815.0 / 86400, 0},
      {u"5:30 1/2/2018", S_OK, serial(2018, 1, 2) + 19800.0 / 86400, 0},
      {u"1/2/2018 5:30", S_OK, serial(2018, 1, 2), VAR_DATEVALUEONLY},
      {u"1/2/2018 5:30", S_OK, 19800.0 / 86400, VAR_TIMEVALUEONLY},
      {u"13/13/2018", DISP_E_TYPEMISMATCH, 0, 0},
      {u"1/2/2018 24:00", DISP_E_TYPEMISMATCH, 0, 0},
      {u"12:60", DISP_E_TYPEMISMATCH, 0, 0},
      {u"12:3000000000000", DISP_E_TYPEMISMATCH, 0, 0},
      {u"13:00 PM", DISP_E_TYPEMISMATCH, 0, 0},
      {u"1/2/3/4", DISP_E_TYPEMISMATCH, 0, 0},
      {u"1/1/99999", DISP_E_TYPEMISMATCH, 0, 0},
      {u"", DISP_E_TYPEMISMATCH, 0, 0},
      {u"12", DISP_E_TYPEMISMATCH, 0, 0},
      {u"/1/2/2018", DISP_E_TYPEMISMATCH, 0, 0},
      {u"1//2/2018", DISP_E_TYPEMISMATCH, 0, 0},
      {u"1/2/2018/", DISP_E_TYPEMISMATCH, 0, 0},
      {u"Smarch 2, 2018", DISP_E_TYPEMISMATCH, 0, 0},
  };
  for (const auto &c : cases) {
    double date = -12345;
    const HRESULT hr = VarDateFromStr(c.text, 1033, c.flags, &date);
    EXPECT_EQ(hr, c.hr) << std::u16string(c.text).size() << " units: case " << (&c - cases);
    if (c.hr == S_OK) {
      EXPECT_EQ(date, c.date) << "case " << (&c - cases);
    }
  }
}

}  // namespace
