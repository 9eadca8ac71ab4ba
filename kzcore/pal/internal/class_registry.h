// Lookups of the class registry shared with the text functions of class identifiers. Not
// installed.
#pragma once

#include <string>
#include <string_view>

#include <kzcore/pal/guid.h>

namespace kz::pal::internal {

// The rule for programmatic identifiers: 1 to 39 characters, ASCII letters, digits and periods,
// not starting with a digit.
bool IsValidProgID(std::u16string_view prog_id);
// The programmatic identifier of `clsid`: a registration in process first, then the
// configuration files. False when the class has none.
bool ProgIDOfClass(REFCLSID clsid, std::u16string &prog_id);
// The class whose programmatic identifier is `prog_id`, compared without regard to case, as
// registry key names are. False when no class has it.
bool ClassOfProgID(std::u16string_view prog_id, CLSID &clsid);

}  // namespace kz::pal::internal
