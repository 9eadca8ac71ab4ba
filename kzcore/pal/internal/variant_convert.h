// The conversion core shared by VariantChangeType and the Var*From* functions.
#pragma once

#include <kzcore/pal/variant.h>

namespace kz::pal {

// True for a tag a VARIANT may carry (base type, with VT_BYREF or VT_ARRAY where allowed).
bool IsValidVariantType(VARTYPE vt);

// Converts a value of a base type (neither VT_BYREF nor VT_ARRAY) to the base type `vt`. Text
// sources are read up to their first 0 unit. The result in `out` is owned by the caller; `out`
// is untouched on failure. `var_flags` are the Var*From* flags (VAR_*); `alpha_bool` writes
// booleans as "True"/"False" rather than as numbers.
HRESULT ConvertScalar(const VARIANT &src, VARTYPE vt, LCID lcid, ULONG var_flags, bool alpha_bool,
                      VARIANT *out);

// The object's value: its DISPID_VALUE property, read through IDispatch.
HRESULT ValueOfObject(IUnknown *object, LCID lcid, VARIANT *out);

}  // namespace kz::pal
