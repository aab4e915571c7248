// Feeds arbitrary bytes to both stream classes and reads values until the
// stream refuses; every value read is cleared again. Nothing may crash,
// leak or allocate beyond what the bytes could hold.
#include <cstddef>
#include <cstdint>

#include "runtime/memorystream.h"

namespace {

template <typename Stream>
void readAll(const uint8_t *data, size_t size)
{
    auto *stream = new Stream;
    stream->AddRef();
    if (SUCCEEDED(stream->Write(data, ULONG(size)))) {
        stream->SetPosition(0);
        for (int values = 0; values < 64; ++values) {
            VARIANT value;
            VariantInit(&value);
            const HRESULT hr = stream->ReadVariant(&value);
            VariantClear(&value);
            if (FAILED(hr))
                break;
        }
        stream->SetPosition(0);
        BSTR text = nullptr;
        if (SUCCEEDED(stream->ReadBstr(&text)))
            SysFreeString(text);
    }
    stream->Release();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > (1u << 20))
        return 0;
    readAll<BaseZK::MemoryStream>(data, size);
    readAll<BaseZK::MemoryStream2>(data, size);
    return 0;
}
