// OLE dates: days since 1899-12-30 in the proleptic Gregorian calendar, with the time of day as
// the fraction's magnitude (-1.25 is 1899-12-29 06:00), from year 100 to year 9999.
#pragma once

#include <kzcore/pal/variant.h>

namespace kz::pal {

// Whole days of 0100-01-01 and 9999-12-31.
constexpr LONG kFirstDay = -657434;
constexpr LONG kLastDay = 2958465;

struct DateParts {
  int year, month, day, hour, minute, second;
  int day_of_week;  // 0 is Sunday
  int day_of_year;  // 1 is January 1
};

// Day numbers of calendar dates; the month may be 0 (December of the year before) and the day
// may run past its month or be 0, and count on from the month's first day.
LONG DayFromCivil(int year, int month, int day);
int DaysInMonth(int year, int month);
// Years 0 to 49 are 2000 to 2049, years 50 to 99 are 1950 to 1999.
int ExpandTwoDigitYear(int year);

// Splits a date into its fields, the time rounded to the nearest second (which may carry into
// the next day); false outside years 100 to 9999 or for a NaN.
bool SplitDate(double date, DateParts *out);
// The date of a day number and a time of day in seconds.
double JoinDate(LONG day, int seconds);

// VarDateFromStr's reading of date and time texts. Flags: VAR_TIMEVALUEONLY, VAR_DATEVALUEONLY.
HRESULT ParseDateText(const OLECHAR *text, LCID lcid, ULONG flags, double *out);

constexpr int kDateTextMax = 48;
// The locale's short date and long time, date only for whole days and time only on day 0;
// returns the units written, or -1 when the date is out of range.
int FormatDateText(double date, LCID lcid, ULONG flags, OLECHAR *out);

}  // namespace kz::pal
