// IDispatch and the type description interfaces.
#pragma once

#include "interfaces/unknown.h"
#include "platform/typedesc.h"

DEFINE_IID(IID_IDispatch, 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_ITypeInfo, 0x00020401, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_ITypeLib, 0x00020402, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_ITypeComp, 0x00020403, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_ITypeInfo2, 0x00020412, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_IID(IID_IRecordInfo, 0x0000002F, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

struct ITypeInfo;
struct ITypeLib;
struct ITypeComp;

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo **typeInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR *names, UINT count, LCID lcid, DISPID *dispIds) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID dispId, REFIID riid, LCID lcid, WORD flags, DISPPARAMS *params,
                                             VARIANT *result, EXCEPINFO *excepInfo, UINT *argErr) = 0;
};
typedef IDispatch *LPDISPATCH;

typedef union tagBINDPTR {
    FUNCDESC *lpfuncdesc;
    VARDESC *lpvardesc;
    ITypeComp *lptcomp;
} BINDPTR;

struct ITypeComp : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Bind(LPOLESTR name, ULONG hashVal, WORD flags, ITypeInfo **typeInfo,
                                           DESCKIND *descKind, BINDPTR *bindPtr) = 0;
    virtual HRESULT STDMETHODCALLTYPE BindType(LPOLESTR name, ULONG hashVal, ITypeInfo **typeInfo, ITypeComp **typeComp) = 0;
};

struct ITypeInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR **typeAttr) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **typeComp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC **funcDesc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC **varDesc) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNames(MEMBERID memid, BSTR *names, UINT maxNames, UINT *count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE *refType) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT *implTypeFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR *names, UINT count, MEMBERID *memIds) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(PVOID instance, MEMBERID memid, WORD flags, DISPPARAMS *params,
                                             VARIANT *result, EXCEPINFO *excepInfo, UINT *argErr) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID memid, BSTR *name, BSTR *docString,
                                                       DWORD *helpContext, BSTR *helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID memid, INVOKEKIND invKind, BSTR *dllName, BSTR *name,
                                                  WORD *ordinal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE refType, ITypeInfo **typeInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID memid, INVOKEKIND invKind, PVOID *address) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown *outer, REFIID riid, PVOID *object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMops(MEMBERID memid, BSTR *mops) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib **typeLib, UINT *index) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR *typeAttr) = 0;
    virtual void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC *funcDesc) = 0;
    virtual void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC *varDesc) = 0;
};
typedef ITypeInfo *LPTYPEINFO;

struct ITypeInfo2 : ITypeInfo {
    virtual HRESULT STDMETHODCALLTYPE GetTypeKind(TYPEKIND *typeKind) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeFlags(ULONG *typeFlags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFuncIndexOfMemId(MEMBERID memid, INVOKEKIND invKind, UINT *funcIndex) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVarIndexOfMemId(MEMBERID memid, UINT *varIndex) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCustData(REFGUID guid, VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFuncCustData(UINT index, REFGUID guid, VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetParamCustData(UINT indexFunc, UINT indexParam, REFGUID guid, VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVarCustData(UINT index, REFGUID guid, VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetImplTypeCustData(UINT index, REFGUID guid, VARIANT *value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation2(MEMBERID memid, LCID lcid, BSTR *helpString,
                                                        DWORD *helpStringContext, BSTR *helpStringDll) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllCustData(CUSTDATA *custData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllFuncCustData(UINT index, CUSTDATA *custData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllParamCustData(UINT indexFunc, UINT indexParam, CUSTDATA *custData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllVarCustData(UINT index, CUSTDATA *custData) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetAllImplTypeCustData(UINT index, CUSTDATA *custData) = 0;
};

typedef struct tagTLIBATTR {
    GUID guid;
    LCID lcid;
    SYSKIND syskind;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    WORD wLibFlags;
} TLIBATTR, *LPTLIBATTR;

struct ITypeLib : IUnknown {
    virtual UINT STDMETHODCALLTYPE GetTypeInfoCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, ITypeInfo **typeInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT index, TYPEKIND *typeKind) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo **typeInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR **libAttr) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp **typeComp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(INT index, BSTR *name, BSTR *docString, DWORD *helpContext,
                                                       BSTR *helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsName(LPOLESTR nameBuf, ULONG hashVal, BOOL *found) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindName(LPOLESTR nameBuf, ULONG hashVal, ITypeInfo **typeInfo, MEMBERID *memIds,
                                               USHORT *found) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR *libAttr) = 0;
};

struct IRecordInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE RecordInit(PVOID newRecord) = 0;
    virtual HRESULT STDMETHODCALLTYPE RecordClear(PVOID existing) = 0;
    virtual HRESULT STDMETHODCALLTYPE RecordCopy(PVOID existing, PVOID newRecord) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetGuid(GUID *guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetName(BSTR *name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSize(ULONG *size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(ITypeInfo **typeInfo) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetField(PVOID data, LPCOLESTR fieldName, VARIANT *field) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFieldNoCopy(PVOID data, LPCOLESTR fieldName, VARIANT *field, PVOID *dataCArray) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutField(ULONG flags, PVOID data, LPCOLESTR fieldName, VARIANT *field) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutFieldNoCopy(ULONG flags, PVOID data, LPCOLESTR fieldName, VARIANT *field) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFieldNames(ULONG *count, BSTR *names) = 0;
    virtual BOOL STDMETHODCALLTYPE IsMatchingType(IRecordInfo *other) = 0;
    virtual PVOID STDMETHODCALLTYPE RecordCreate() = 0;
    virtual HRESULT STDMETHODCALLTYPE RecordCreateCopy(PVOID source, PVOID *dest) = 0;
    virtual HRESULT STDMETHODCALLTYPE RecordDestroy(PVOID record) = 0;
};
