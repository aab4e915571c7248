// The value tests run inside a real QApplication, with every allocation of
// the process counted, so that tests can tell that storage is freed.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <QApplication>

#include "allocationcount.h"

namespace {

std::atomic<long> liveAllocations{ 0 };

void *CountedAllocate(std::size_t size)
{
    void *memory = std::malloc(size ? size : 1);
    if (memory)
        ++liveAllocations;
    return memory;
}

void CountedFree(void *memory)
{
    if (memory) {
        --liveAllocations;
        std::free(memory);
    }
}

// Kept to the end of the process, as in the applications the module serves.
QApplication *application = nullptr;

} // namespace

long LiveAllocations() { return liveAllocations.load(); }

void *operator new(std::size_t size)
{
    if (void *memory = CountedAllocate(size))
        return memory;
    throw std::bad_alloc();
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return CountedAllocate(size); }
void operator delete(void *memory) noexcept { CountedFree(memory); }
void operator delete(void *memory, std::size_t) noexcept { CountedFree(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { CountedFree(memory); }

#if defined(__SANITIZE_ADDRESS__)
// Font configuration keeps memory it never frees; that is not the module's.
extern "C" __attribute__((visibility("default"))) const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig.so\n";
}
#endif

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    application = new QApplication(argc, argv);
    return RUN_ALL_TESTS();
}
