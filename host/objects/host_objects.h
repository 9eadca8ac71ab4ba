// The objects that a server host provides: the UID class of Guid and the JSON service. A host
// registers them in its process once, before the library or a server object makes one:
//
//   KzRegisterHostObjects();
//   Guid id(clsid, 0);        // now holds a UID object
//
// They are registered for in-process use with the platform's class registry.
#pragma once

#include <kzcore/pal/com.h>

// Registers every host object class. Calling it again does nothing more.
HRESULT KzRegisterHostObjects();
// Revokes what KzRegisterHostObjects registered; objects already made live on.
void KzRevokeHostObjects();
