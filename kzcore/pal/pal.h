// The platform layer: the Win32, COM and OLE operations the library is written against, with
// their documented Windows behaviour, on Linux. The rest of the library includes this header and
// never tests the operating system itself.
#pragma once

#include <kzcore/pal/bstr.h>
#include <kzcore/pal/class_registry.h>
#include <kzcore/pal/clsid.h>
#include <kzcore/pal/code_page.h>
#include <kzcore/pal/com.h>
#include <kzcore/pal/com_ptr.h>
#include <kzcore/pal/connection_point.h>
#include <kzcore/pal/crt_number.h>
#include <kzcore/pal/crt_random.h>
#include <kzcore/pal/export.h>
#include <kzcore/pal/format.h>
#include <kzcore/pal/guid.h>
#include <kzcore/pal/guid_text.h>
#include <kzcore/pal/heap.h>
#include <kzcore/pal/locale.h>
#include <kzcore/pal/memory.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/oleaut.h>
#include <kzcore/pal/point.h>
#include <kzcore/pal/safe_array.h>
#include <kzcore/pal/stream.h>
#include <kzcore/pal/sync.h>
#include <kzcore/pal/types.h>
#include <kzcore/pal/ui.h>
#include <kzcore/pal/variant.h>
#include <kzcore/pal/wide.h>
