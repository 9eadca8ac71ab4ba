#include <kzcore/pal/internal/ole_date.h>

#include <cmath>
#include <ctime>

#include <kzcore/pal/internal/number_text.h>
#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/wide.h>

namespace kz::pal {
namespace {

// Days from 1970-01-01 of a proleptic Gregorian date (month 1 to 12, day 1).
LONG DaysFromEpoch(int year, int month) {
  year -= month <= 2;
  const int era = (year >= 0 ? year : year - 399) / 400;
  const int year_of_era = year - era * 400;
  const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5;
  const int day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

constexpr LONG kEpochToOle = 25569;  // 1970-01-01 is day 25569

void CivilFromDay(LONG day, int *year, int *month, int *day_of_month) {
  const LONG z = day - kEpochToOle + 719468;
  const LONG era = (z >= 0 ? z : z - 146096) / 146097;
  const LONG day_of_era = z - era * 146097;
  const LONG year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const LONG day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const LONG mp = (5 * day_of_year + 2) / 153;
  *day_of_month = static_cast<int>(day_of_year - (153 * mp + 2) / 5 + 1);
  *month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  *year = static_cast<int>(year_of_era + era * 400 + (*month <= 2));
}

bool IsLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int CurrentYear() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_year + 1900;
}

struct Names {
  const char *full;
  int value;
};
constexpr Names kMonths[] = {{"january", 1}, {"february", 2}, {"march", 3},     {"april", 4},
                             {"may", 5},     {"june", 6},     {"july", 7},      {"august", 8},
                             {"september", 9}, {"october", 10}, {"november", 11}, {"december", 12}};
constexpr Names kWeekdays[] = {{"sunday", 0},   {"monday", 1}, {"tuesday", 2}, {"wednesday", 3},
                               {"thursday", 4}, {"friday", 5}, {"saturday", 6}};

// A word matches a name written in full or as its first three letters, in any case.
bool MatchName(const OLECHAR *word, int length, const char *name) {
  int name_length = 0;
  while (name[name_length]) ++name_length;
  if (length != 3 && length != name_length) return false;
  for (int i = 0; i < length; ++i)
    if (towlower(word[i]) != static_cast<OLECHAR>(name[i])) return false;
  return true;
}

template <std::size_t N>
int FindName(const OLECHAR *word, int length, const Names (&names)[N]) {
  for (const Names &n : names)
    if (MatchName(word, length, n.full)) return n.value;
  return -1;
}

bool IsSpace(OLECHAR c) { return c == u' ' || (c >= 0x09 && c <= 0x0D); }
bool IsDigit(OLECHAR c) { return c >= u'0' && c <= u'9'; }

struct Number {
  int value;
  int digits;
};

bool YearLike(const Number &n) { return n.digits >= 3 || n.value > 31; }

}  // namespace

LONG DayFromCivil(int year, int month, int day) {
  if (month == 0) {
    month = 12;
    --year;
  }
  return DaysFromEpoch(year, month) + kEpochToOle + day - 1;
}

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

int ExpandTwoDigitYear(int year) { return year < 50 ? 2000 + year : 1900 + year; }

bool SplitDate(double date, DateParts *out) {
  if (!(date > kFirstDay - 1.0 && date < kLastDay + 1.0)) return false;
  double whole = std::trunc(date);
  LONG day = static_cast<LONG>(whole);
  const double fraction = std::fabs(date - whole);
  int seconds = static_cast<int>(std::floor(fraction * 86400.0 + 0.5));
  if (seconds >= 86400) {
    seconds -= 86400;
    ++day;
  }
  if (day < kFirstDay || day > kLastDay) return false;
  CivilFromDay(day, &out->year, &out->month, &out->day);
  out->hour = seconds / 3600;
  out->minute = seconds / 60 % 60;
  out->second = seconds % 60;
  // 1899-12-30, day 0, was a Saturday.
  out->day_of_week = static_cast<int>(((day + 6) % 7 + 7) % 7);
  out->day_of_year = static_cast<int>(day - DayFromCivil(out->year, 1, 1)) + 1;
  return true;
}

double JoinDate(LONG day, int seconds) {
  const double time = seconds / 86400.0;
  return day >= 0 ? day + time : day - time;
}

HRESULT ParseDateText(const OLECHAR *text, LCID lcid, ULONG flags, double *out) {
  if (text == nullptr) return E_INVALIDARG;
  const OleLocale &locale = LocaleFor(lcid);
  Number numbers[3];
  int count = 0;
  int month = 0;
  int hour = -1, minute = 0, second = 0;
  int meridiem = 0;  // 1 AM, 2 PM
  // A separator stands between two parts: not first, not last, not twice in a row.
  bool last_was_number = false, after_element = false;

  const OLECHAR *p = text;
  while (*p != 0) {
    const OLECHAR c = *p;
    if (IsSpace(c)) {
      ++p;
      continue;
    }
    if (IsDigit(c)) {
      Number n{0, 0};
      for (; IsDigit(*p); ++p) {
        if (n.value < 100000) n.value = n.value * 10 + (*p - u'0');
        ++n.digits;
      }
      if (*p == u':') {
        // A time: hours:minutes[:seconds].
        if (hour >= 0 || n.digits > 2) return DISP_E_TYPEMISMATCH;
        hour = n.value;
        int parts[2] = {0, 0};
        int got = 0;
        while (*p == u':' && got < 2) {
          ++p;
          int digits = 0, value = 0;
          for (; IsDigit(*p); ++p, ++digits)
            if (digits < 2) value = value * 10 + (*p - u'0');
          if (digits == 0 || digits > 2) return DISP_E_TYPEMISMATCH;
          parts[got++] = value;
        }
        if (*p == u':') return DISP_E_TYPEMISMATCH;
        minute = parts[0];
        second = parts[1];
        last_was_number = false;
        after_element = true;
        continue;
      }
      if (count == 3) return DISP_E_TYPEMISMATCH;
      numbers[count++] = n;
      last_was_number = true;
      after_element = true;
      continue;
    }
    if (iswalpha(c)) {
      const OLECHAR *word = p;
      while (iswalpha(*p)) ++p;
      const int length = static_cast<int>(p - word);
      if ((length == 2 && (word[1] | 0x20) == u'm') &&
          ((word[0] | 0x20) == u'a' || (word[0] | 0x20) == u'p')) {
        if (meridiem != 0) return DISP_E_TYPEMISMATCH;
        meridiem = (word[0] | 0x20) == u'a' ? 1 : 2;
        if (hour < 0) {
          // "5 PM": the number before the marker is the hour.
          if (!last_was_number) return DISP_E_TYPEMISMATCH;
          hour = numbers[--count].value;
        }
        last_was_number = false;
        continue;
      }
      if (int m = FindName(word, length, kMonths); m > 0) {
        if (month != 0) return DISP_E_TYPEMISMATCH;
        month = m;
      } else if (FindName(word, length, kWeekdays) < 0) {
        return DISP_E_TYPEMISMATCH;
      }
      last_was_number = false;
      after_element = true;
      continue;
    }
    if ((c == u'/' || c == u'-' || c == u'.' || c == u',' || c == locale.date_separator) &&
        after_element) {
      ++p;
      last_was_number = false;
      after_element = false;
      continue;
    }
    return DISP_E_TYPEMISMATCH;
  }
  if (!after_element) return DISP_E_TYPEMISMATCH;

  // The calendar date.
  int year = 0, day = 0;
  bool has_date = true;
  const bool day_first = locale.order == DateOrder::kDayMonthYear;
  if (month != 0) {
    if (count == 1) {
      if (YearLike(numbers[0])) {
        year = numbers[0].value;
        day = 1;
        if (numbers[0].digits <= 2) year = ExpandTwoDigitYear(year);
      } else {
        day = numbers[0].value;
        year = CurrentYear();
      }
    } else if (count == 2) {
      const bool year_first = YearLike(numbers[0]);
      const Number &y = year_first ? numbers[0] : numbers[1];
      day = (year_first ? numbers[1] : numbers[0]).value;
      year = y.digits <= 2 ? ExpandTwoDigitYear(y.value) : y.value;
    } else {
      return DISP_E_TYPEMISMATCH;
    }
  } else if (count == 3) {
    Number y;
    if (YearLike(numbers[0])) {
      y = numbers[0];
      month = numbers[1].value;
      day = numbers[2].value;
    } else {
      y = numbers[2];
      month = numbers[day_first ? 1 : 0].value;
      day = numbers[day_first ? 0 : 1].value;
      if (month > 12 && day <= 12) std::swap(month, day);
    }
    year = y.digits <= 2 ? ExpandTwoDigitYear(y.value) : y.value;
  } else if (count == 2) {
    if (YearLike(numbers[0]) || YearLike(numbers[1])) {
      const bool year_first = YearLike(numbers[0]);
      const Number &y = year_first ? numbers[0] : numbers[1];
      month = (year_first ? numbers[1] : numbers[0]).value;
      day = 1;
      year = y.digits <= 2 ? ExpandTwoDigitYear(y.value) : y.value;
    } else {
      month = numbers[day_first ? 1 : 0].value;
      day = numbers[day_first ? 0 : 1].value;
      if (month > 12 && day <= 12) std::swap(month, day);
      year = CurrentYear();
    }
  } else if (count == 0 && hour >= 0) {
    has_date = false;
  } else {
    return DISP_E_TYPEMISMATCH;
  }
  if (has_date &&
      (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)))
    return DISP_E_TYPEMISMATCH;

  // The time of day.
  if (hour < 0) {
    if (meridiem != 0) return DISP_E_TYPEMISMATCH;
    hour = 0;
  }
  if (meridiem != 0) {
    if (hour > 12) return DISP_E_TYPEMISMATCH;
    if (hour == 12) hour = 0;
    if (meridiem == 2) hour += 12;
  }
  if (hour > 23 || minute > 59 || second > 59) return DISP_E_TYPEMISMATCH;

  const LONG day_number = has_date && !(flags & VAR_TIMEVALUEONLY) ? DayFromCivil(year, month, day) : 0;
  const int seconds = flags & VAR_DATEVALUEONLY ? 0 : hour * 3600 + minute * 60 + second;
  *out = JoinDate(day_number, seconds);
  return S_OK;
}

int FormatDateText(double date, LCID lcid, ULONG flags, OLECHAR *out) {
  DateParts parts;
  if (!SplitDate(date, &parts)) return -1;
  const OleLocale &locale = LocaleFor(lcid);
  const double whole = std::trunc(date);
  bool show_date = whole != 0, show_time = date != whole;
  if (flags & VAR_DATEVALUEONLY) show_date = true, show_time = false;
  if (flags & VAR_TIMEVALUEONLY) show_date = false, show_time = true;
  if (!show_date && !show_time) show_time = true;

  OLECHAR *p = out;
  auto number = [&p](int value, int width) {
    OLECHAR digits[8];
    int n = 0;
    do {
      digits[n++] = static_cast<OLECHAR>(u'0' + value % 10);
      value /= 10;
    } while (value != 0);
    for (int i = n; i < width; ++i) *p++ = u'0';
    while (n > 0) *p++ = digits[--n];
  };
  if (show_date) {
    const int width = locale.order == DateOrder::kDayMonthYear ? 2 : 1;
    const int first = locale.order == DateOrder::kDayMonthYear ? parts.day : parts.month;
    const int second = locale.order == DateOrder::kDayMonthYear ? parts.month : parts.day;
    number(first, width);
    *p++ = locale.date_separator;
    number(second, width);
    *p++ = locale.date_separator;
    number(parts.year, 1);
  }
  if (show_time) {
    if (show_date) *p++ = u' ';
    if (locale.clock24) {
      number(parts.hour, 2);
    } else {
      const int hour12 = parts.hour % 12 == 0 ? 12 : parts.hour % 12;
      number(hour12, 1);
    }
    *p++ = u':';
    number(parts.minute, 2);
    *p++ = u':';
    number(parts.second, 2);
    if (!locale.clock24) {
      *p++ = u' ';
      *p++ = parts.hour < 12 ? u'A' : u'P';
      *p++ = u'M';
    }
  }
  return static_cast<int>(p - out);
}

}  // namespace kz::pal
