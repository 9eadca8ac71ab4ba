#include <kzcore/pal/internal/ole_date.h>
#include <kzcore/pal/oleaut.h>

using kz::pal::DateParts;

HRESULT VarDateFromUdate(UDATE *udate, ULONG flags, DATE *out) {
  if (udate == nullptr || out == nullptr) return E_INVALIDARG;
  const SYSTEMTIME &st = udate->st;
  int year = st.wYear;
  if (year < 100) year = kz::pal::ExpandTwoDigitYear(year);
  // Days run over into the next month and 0 is the month before's last; months do not run over.
  if (year > 9999 || st.wMonth > 12 || st.wDay > 31 || st.wHour > 23 || st.wMinute > 59 || st.wSecond > 59)
    return E_INVALIDARG;
  const LONG day = kz::pal::DayFromCivil(year, st.wMonth, st.wDay);
  if (day < kz::pal::kFirstDay || day > kz::pal::kLastDay) return E_INVALIDARG;
  int seconds = st.wHour * 3600 + st.wMinute * 60 + st.wSecond;
  LONG day_part = day;
  if (flags & VAR_TIMEVALUEONLY) day_part = 0;
  if (flags & VAR_DATEVALUEONLY) seconds = 0;
  *out = kz::pal::JoinDate(day_part, seconds);
  return S_OK;
}

HRESULT VarUdateFromDate(DATE date, ULONG flags, UDATE *out) {
  if (out == nullptr) return E_INVALIDARG;
  DateParts parts;
  if (!kz::pal::SplitDate(date, &parts)) return E_INVALIDARG;
  if (flags & VAR_TIMEVALUEONLY) {
    // The time alone sits on day 0, 1899-12-30.
    DateParts day0;
    kz::pal::SplitDate(0.0, &day0);
    parts.year = day0.year, parts.month = day0.month, parts.day = day0.day;
    parts.day_of_week = day0.day_of_week, parts.day_of_year = day0.day_of_year;
  }
  if (flags & VAR_DATEVALUEONLY) parts.hour = parts.minute = parts.second = 0;
  out->st.wYear = static_cast<WORD>(parts.year);
  out->st.wMonth = static_cast<WORD>(parts.month);
  out->st.wDayOfWeek = static_cast<WORD>(parts.day_of_week);
  out->st.wDay = static_cast<WORD>(parts.day);
  out->st.wHour = static_cast<WORD>(parts.hour);
  out->st.wMinute = static_cast<WORD>(parts.minute);
  out->st.wSecond = static_cast<WORD>(parts.second);
  out->st.wMilliseconds = 0;
  out->wDayOfYear = static_cast<USHORT>(parts.day_of_year);
  return S_OK;
}

INT SystemTimeToVariantTime(LPSYSTEMTIME system_time, DOUBLE *variant_time) {
  if (system_time == nullptr || variant_time == nullptr) return FALSE;
  UDATE udate{*system_time, 0};
  return SUCCEEDED(VarDateFromUdate(&udate, 0, variant_time)) ? TRUE : FALSE;
}

INT VariantTimeToSystemTime(DOUBLE variant_time, LPSYSTEMTIME system_time) {
  if (system_time == nullptr) return FALSE;
  UDATE udate{};
  if (FAILED(VarUdateFromDate(variant_time, 0, &udate))) return FALSE;
  *system_time = udate.st;
  return TRUE;
}
