// Reference counting and interface lookup shared by the module's COM classes.
#pragma once

#include <atomic>
#include <initializer_list>

#include "runtime/moduleobject.h"

// One entry of an interface map: the identifier and how to reach the
// interface from the object.
struct InterfaceEntry {
    const IID *iid;
    void *(*cast)(void *object);
};

template <typename Class, typename Interface>
InterfaceEntry Implements(const IID &iid)
{
    return { &iid, [](void *object) -> void * { return static_cast<Interface *>(static_cast<Class *>(object)); } };
}

// Looks riid up in entries, in order; IUnknown answers with the first entry.
// E_POINTER for a null target, E_NOINTERFACE when nothing matches.
HRESULT QueryInterfaceTable(void *object, std::initializer_list<InterfaceEntry> entries, REFIID riid, void **result);

// The counting part of a COM object: an atomic reference count that starts
// at 0 (the creator takes the first reference) and the module lock count
// held while the object lives. Derived classes implement QueryInterface and
// forward AddRef/Release here.
class ComObjectRoot
{
public:
    ComObjectRoot() { ProxyModule().Lock(); }
    virtual ~ComObjectRoot() { ProxyModule().Unlock(); }
    ComObjectRoot(const ComObjectRoot &) = delete;
    ComObjectRoot &operator=(const ComObjectRoot &) = delete;

protected:
    ULONG InternalAddRef() { return ++refCount; }
    ULONG InternalRelease()
    {
        const ULONG remaining = --refCount;
        if (remaining == 0)
            delete this;
        return remaining;
    }

private:
    std::atomic<ULONG> refCount{ 0 };
};

#define VRQT_IUNKNOWN_BY_ROOT                                           \
    ULONG STDMETHODCALLTYPE AddRef() override { return InternalAddRef(); } \
    ULONG STDMETHODCALLTYPE Release() override { return InternalRelease(); }

// Holds one reference and releases it at scope end.
template <typename Interface>
class ComPtr
{
public:
    ComPtr() = default;
    explicit ComPtr(Interface *adopted) : pointer(adopted) {}
    ComPtr(const ComPtr &other) : pointer(other.pointer) { if (pointer) pointer->AddRef(); }
    ComPtr &operator=(ComPtr other) { std::swap(pointer, other.pointer); return *this; }
    ~ComPtr() { if (pointer) pointer->Release(); }

    Interface *get() const { return pointer; }
    Interface *operator->() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }
    Interface **put() { reset(); return &pointer; }
    void **putVoid() { return reinterpret_cast<void **>(put()); }
    void reset() { if (pointer) { pointer->Release(); pointer = nullptr; } }
    Interface *detach() { Interface *p = pointer; pointer = nullptr; return p; }

private:
    Interface *pointer = nullptr;
};
