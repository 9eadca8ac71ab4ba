#include <kzcore/pal/crt_number.h>

#include <cmath>
#include <cstring>

#include <kzcore/pal/internal/float_digits.h>

namespace {

thread_local char t_cvt_buffer[KZ_CVT_MAX_DIGITS + 8];

// Infinities and NaNs keep the runtime's "1#INF" and "1#QNAN" texts, with the point after the 1.
char *NonFinite(double value, int *point, int *sign) {
  *sign = std::signbit(value) ? 1 : 0;
  *point = 1;
  std::strcpy(t_cvt_buffer, std::isinf(value) ? "1#INF" : "1#QNAN");
  return t_cvt_buffer;
}

char *Emit(const kz::pal::DecimalDigits &d, int length) {
  if (length > KZ_CVT_MAX_DIGITS) length = KZ_CVT_MAX_DIGITS;
  if (length < 0) length = 0;
  for (int i = 0; i < length; ++i) t_cvt_buffer[i] = i < d.count ? d.digits[i] : '0';
  t_cvt_buffer[length] = 0;
  return t_cvt_buffer;
}

}  // namespace

char *_ecvt(double value, int count, int *point, int *sign) {
  if (!std::isfinite(value)) return NonFinite(value, point, sign);
  if (count < 0) count = 0;
  if (count > KZ_CVT_MAX_DIGITS) count = KZ_CVT_MAX_DIGITS;
  kz::pal::DecimalDigits d;
  if (count >= 1 && count <= 16) {
    kz::pal::ShortDigits(value, count, &d);
  } else {
    // With no digit kept, a leading 5 or more still carries into the point.
    kz::pal::ExactDigits(value, &d);
    kz::pal::RoundDigits(&d, count);
  }
  *point = d.point;
  *sign = d.negative ? 1 : 0;
  return Emit(d, count);
}

char *_fcvt(double value, int count, int *point, int *sign) {
  if (!std::isfinite(value)) return NonFinite(value, point, sign);
  if (count < 0) count = 0;
  kz::pal::DecimalDigits d;
  kz::pal::ExactDigits(value, &d);
  *sign = d.negative ? 1 : 0;
  if (d.count == 0) {
    *point = 0;
    return Emit(d, count);
  }
  const int length = d.point + count;
  if (length < 0) {
    *point = d.point;
    return Emit(d, 0);
  }
  if (length == 0) {
    // Only the rounding of the first digit is left: it gives "1" one place up, or nothing.
    if (d.digits[0] >= '5') {
      *point = d.point + 1;
      d.digits[0] = '1';
      d.count = 1;
      return Emit(d, 1);
    }
    *point = d.point;
    return Emit(d, 0);
  }
  kz::pal::RoundDigits(&d, length);
  *point = d.point;
  return Emit(d, d.point + count);
}
