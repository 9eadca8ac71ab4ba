// Connection points: how a connectable object reaches the sinks that asked for its events. A sink
// is advised through IConnectionPoint and gets a cookie; CONNECTDATA pairs the two.
//
//   DWORD cookie = 0;
//   if (SUCCEEDED(point->Advise(sink, &cookie))) { ... point->Unadvise(cookie); }
#pragma once

#include <kzcore/pal/com.h>
#include <kzcore/pal/guid.h>
#include <kzcore/pal/types.h>

struct IConnectionPointContainer;
struct IEnumConnections;

struct IConnectionPoint : IUnknown {
  virtual HRESULT GetConnectionInterface(IID *iid) = 0;
  virtual HRESULT GetConnectionPointContainer(IConnectionPointContainer **container) = 0;
  virtual HRESULT Advise(IUnknown *sink, DWORD *cookie) = 0;
  virtual HRESULT Unadvise(DWORD cookie) = 0;
  virtual HRESULT EnumConnections(IEnumConnections **connections) = 0;
};
KZ_DECLARE_IID(IConnectionPoint, "{B196B286-BAB4-101A-B69C-00AA00341D07}");

// 16 bytes with 8-byte pointers (8 on 32-bit Windows).
struct tagCONNECTDATA {
  IUnknown *pUnk;
  DWORD dwCookie;
};
using CONNECTDATA = tagCONNECTDATA;
using PCONNECTDATA = tagCONNECTDATA *;
using LPCONNECTDATA = tagCONNECTDATA *;
