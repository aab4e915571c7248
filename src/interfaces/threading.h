// Apartment queries and message filters.
#pragma once

#include "interfaces/unknown.h"

DEFINE_IID(IID_IComThreadingInfo, 0x000001CE, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IMessageFilter, 0x00000016, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

typedef enum _APTTYPE {
    APTTYPE_CURRENT = -1,
    APTTYPE_STA = 0,
    APTTYPE_MTA = 1,
    APTTYPE_NA = 2,
    APTTYPE_MAINSTA = 3
} APTTYPE;

typedef enum _THDTYPE {
    THDTYPE_BLOCKMESSAGES = 0,
    THDTYPE_PROCESSMESSAGES = 1
} THDTYPE;

struct IComThreadingInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetCurrentApartmentType(APTTYPE *aptType) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentThreadType(THDTYPE *threadType) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCurrentLogicalThreadId(GUID *logicalThreadId) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCurrentLogicalThreadId(REFGUID logicalThreadId) = 0;
};

typedef void *HTASK;
typedef struct tagINTERFACEINFO {
    IUnknown *pUnk;
    IID iid;
    WORD wMethod;
} INTERFACEINFO, *LPINTERFACEINFO;

struct IMessageFilter : IUnknown {
    virtual DWORD STDMETHODCALLTYPE HandleInComingCall(DWORD callType, HTASK caller, DWORD tickCount,
                                                       LPINTERFACEINFO interfaceInfo) = 0;
    virtual DWORD STDMETHODCALLTYPE RetryRejectedCall(HTASK callee, DWORD tickCount, DWORD rejectType) = 0;
    virtual DWORD STDMETHODCALLTYPE MessagePending(HTASK callee, DWORD tickCount, DWORD pendingType) = 0;
};
