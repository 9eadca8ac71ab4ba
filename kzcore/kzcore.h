// KzCore: the foundation library of the Kz GIS family. Including this header gives every public
// part of the library.
#pragma once

#include <kzcore/pal/pal.h>

#include <kzcore/core/bstring.h>
#include <kzcore/core/class_factory.h>
#include <kzcore/core/delimited_list.h>
#include <kzcore/core/frame.h>
#include <kzcore/core/hash_proc.h>
#include <kzcore/core/locale.h>
#include <kzcore/core/report_error.h>
#include <kzcore/core/string.h>
#include <kzcore/core/string_array.h>
#include <kzcore/core/text_conversions.h>
#include <kzcore/core/thread_values.h>
#include <kzcore/core/unknown.h>
#include <kzcore/core/utf8_util.h>

#include <kzcore/containers/base_array.h>
#include <kzcore/containers/hash.h>

#include <kzcore/numerics/empty_value.h>
#include <kzcore/numerics/geometry/polygon_area.h>
#include <kzcore/numerics/geometry/wks_envelope.h>
#include <kzcore/numerics/geometry/wks_point.h>
#include <kzcore/numerics/matrix.h>
#include <kzcore/numerics/random/random_generator.h>
#include <kzcore/numerics/statistics.h>
#include <kzcore/numerics/vector.h>

#include <kzcore/server/json_service.h>
#include <kzcore/server/rest/rest_dispatcher.h>
#include <kzcore/server/rest/rest_error.h>
#include <kzcore/server/rest/rest_resource.h>
#include <kzcore/server/rest_request_handler.h>

#include <kzcore/platform/object_creation.h>
