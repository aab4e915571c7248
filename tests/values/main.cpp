// The value tests run inside a real QApplication, with every allocation of
// the program counted, so that tests can tell that storage is freed.
#include <atomic>
#include <cstdlib>
#include <new>

#include "../qt_support.h"

static std::atomic<long> liveAllocations{ 0 };
long LiveAllocations() { return liveAllocations.load(); }

void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    void *memory = std::malloc(size ? size : 1);
    liveAllocations += memory != nullptr;
    return memory;
}
void *operator new(std::size_t size)
{
    void *memory = operator new(size, std::nothrow);
    return memory ? memory : throw std::bad_alloc();
}
void operator delete(void *memory) noexcept
{
    liveAllocations -= memory != nullptr;
    std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept { operator delete(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { operator delete(memory); }

QTTEST_LEAK_SUPPRESSIONS

int main(int argc, char **argv)
{
    return qttest::runTestsInApplication(argc, argv);
}
