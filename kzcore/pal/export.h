// KZ_API marks what the library exports; everything else stays hidden (-fvisibility=hidden).
#pragma once

#if defined(KZ_BUILDING_LIBRARY)
#define KZ_API __attribute__((visibility("default")))
#else
#define KZ_API __attribute__((visibility("default")))
#endif
