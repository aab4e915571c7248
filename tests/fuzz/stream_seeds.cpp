// Writes real streams into a folder, one file each, as the fuzzer's corpus:
// stream_seeds FOLDER.
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/memorystream.h"

namespace {

template <typename Stream>
void save(const std::string &path, const VARIANT &value)
{
    auto *stream = new Stream;
    stream->AddRef();
    stream->WriteVariant(&value);
    ULONG size = 0;
    stream->GetSize(&size);
    std::vector<BYTE> bytes(size);
    stream->SetPosition(0);
    stream->Read(bytes.data(), size);
    stream->Release();
    if (FILE *file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    const std::string folder = argv[1];
    std::vector<VARIANT> values(5);
    for (VARIANT &value : values)
        VariantInit(&value);
    V_VT(&values[0]) = VT_I4, V_I4(&values[0]) = 42;
    V_VT(&values[1]) = VT_BSTR, V_BSTR(&values[1]) = SysAllocString(u"seed text");
    V_VT(&values[2]) = VT_ARRAY | VT_R8, V_ARRAY(&values[2]) = SafeArrayCreateVector(VT_R8, 0, 4);
    V_VT(&values[3]) = VT_ARRAY | VT_BSTR, V_ARRAY(&values[3]) = SafeArrayCreateVector(VT_BSTR, 1, 2);
    V_VT(&values[4]) = VT_ARRAY | VT_VARIANT, V_ARRAY(&values[4]) = SafeArrayCreateVector(VT_VARIANT, 0, 3);
    for (LONG i = 0; i < 3; ++i)
        SafeArrayPutElement(V_ARRAY(&values[4]), &i, &values[i]);
    for (size_t i = 0; i < values.size(); ++i) {
        save<BaseZK::MemoryStream>(folder + "/stream-" + std::to_string(i), values[i]);
        save<BaseZK::MemoryStream2>(folder + "/stream2-" + std::to_string(i), values[i]);
        VariantClear(&values[i]);
    }
    return 0;
}
