// The value tests run inside a real QApplication, with every allocation of
// the program counted, so that tests can tell that storage is freed.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <QApplication>

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
    new QApplication(argc, argv); // kept to the end, as in the applications the module serves
    return RUN_ALL_TESTS();
}
