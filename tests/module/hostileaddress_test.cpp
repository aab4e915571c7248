// The host may hand any address. IsQObject and IsWidget answer false for
// everything that is not a live object, and every other operation answers
// a bad address with a result code; none of them brings the process down.
#include <sys/mman.h>
#include <unistd.h>

#include <QApplication>
#include <QLabel>

#include <cxxabi.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "modulesupport.h"

using namespace moduletest;

namespace {

using Address = std::uintptr_t;

// The d_ptr of an object: a QObjectData whose q_ptr points back, so that
// an object and its data look alike at first sight.
struct ObjectData : QObject {
    static Address of(const QObject *object) { return Address((object->*(&ObjectData::d_ptr)).data()); }
};

struct Category {
    const char *name;
    std::vector<Address> addresses;
};

// Hostile addresses of every kind, 100000 in all, from a fixed seed.
class HostileAddresses
{
public:
    HostileAddresses()
    {
        pageSize = Address(sysconf(_SC_PAGESIZE));
        makeFreedObjects();
        makeUnmappedAndProtectedPages();
        fill("random 64-bit values", [this] { return Address(random()); });
        fill("canonical user-space addresses", [this] { return Address(random() & 0x00007FFFFFFFFFF8ull); });
        fill("kernel addresses", [this] { return Address(0xFFFF800000000000ull | (random() & 0x00007FFFFFFFFFF8ull)); });
        fill("small integers", [this] { return Address(random() % 65536); });
        fill("misaligned near live objects", [this] { return liveAddress() + 1 + random() % 7; });
        fill("inside live objects", [this] { return liveAddress() + 8 * (1 + random() % 6); });
        fill("data of live objects", [this] { return ObjectData::of(reinterpret_cast<QObject *>(liveAddress())); });
        makeLookalikes();
        fill("inside a heap block of lookalike words", [this] { return Address(&lookalikes[random() % lookalikes.size()]); });
        // Only below this frame: the frames above may hold live objects.
        fill("in dead stack frames", [this] { return stackAnchor - 8 * (1 + random() % 2048); });
        fill("code", [this] { return Address(&sysconf) + (random() % 4096) * 8; });
        fill("freed objects", [this] { return freed[random() % freed.size()]; });
        fill("unmapped pages", [this] { return unmapped + (random() % (16 * pageSize)) / 8 * 8; });
        fill("protected pages", [this] { return protectedPages + (random() % (16 * pageSize)) / 8 * 8; });
    }

    ~HostileAddresses() { munmap(reinterpret_cast<void *>(protectedPages), 16 * pageSize); }

    std::vector<Category> categories;
    // Live objects the module must recognise among the hostile ones.
    QWidget liveWindow;
    QLabel liveLabel{ "live", &liveWindow };
    QObject liveObject;

private:
    static constexpr size_t perCategory = 100000 / 13 + 1;

    uint64_t random() { return generator(); }

    Address liveAddress()
    {
        const Address live[] = { Address(&liveWindow), Address(&liveLabel), Address(&liveObject) };
        return live[random() % 3];
    }

    template <typename Make>
    void fill(const char *name, Make make)
    {
        Category category{ name, {} };
        while (category.addresses.size() < perCategory && total < 100000) {
            category.addresses.push_back(make());
            ++total;
        }
        categories.push_back(std::move(category));
    }

    // All made before any is freed, so that each address is one of its own.
    void makeFreedObjects()
    {
        std::vector<std::unique_ptr<QObject>> made;
        for (int i = 0; i < 200; ++i) {
            made.push_back(std::make_unique<QObject>());
            made.push_back(std::make_unique<QLabel>("freed"));
        }
        for (const auto &object : made)
            freed.push_back(Address(object.get()));
        made.clear();
    }

    // Words that look like parts of objects: real vtable and data
    // pointers of live objects, addresses inside the block itself, and
    // random values.
    void makeLookalikes()
    {
        lookalikes.resize(1 << 16);
        const Address parts[] = { Address(*reinterpret_cast<void **>(&liveObject)), ObjectData::of(&liveObject),
                                  Address(*reinterpret_cast<void **>(&liveLabel)), ObjectData::of(&liveLabel) };
        for (Address &word : lookalikes) {
            switch (random() % 3) {
            case 0:
                word = parts[random() % std::size(parts)];
                break;
            case 1:
                word = Address(&lookalikes[random() % lookalikes.size()]);
                break;
            default:
                word = Address(random());
            }
        }
    }

    void makeUnmappedAndProtectedPages()
    {
        void *region = mmap(nullptr, 16 * pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        unmapped = Address(region);
        munmap(region, 16 * pageSize);
        protectedPages = Address(mmap(nullptr, 16 * pageSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    }

    std::mt19937_64 generator{ 20240521 };
    Address pageSize = 4096;
    std::vector<Address> freed;
    std::vector<Address> lookalikes;
    Address stackAnchor = Address(__builtin_frame_address(0)) & ~Address(7);
    Address unmapped = 0;
    Address protectedPages = 0;
    size_t total = 0;
};

} // namespace

class HostileAddress : public ModuleTest
{
};

TEST_F(HostileAddress, IsQObjectAndIsWidgetAnswerFalseForEveryHostileAddress)
{
    HostileAddresses hostile;
    size_t probed = 0;
    for (const Category &category : hostile.categories) {
        SCOPED_TRACE(category.name);
        size_t objectsClaimed = 0, widgetsClaimed = 0;
        for (const Address address : category.addresses) {
            // A hostile address may by chance be a live object of the test.
            if (address == Address(&hostile.liveWindow) || address == Address(&hostile.liveLabel)
                || address == Address(&hostile.liveObject) || address == Address(qApp))
                continue;
            objectsClaimed += objects->IsQObject(reinterpret_cast<void *>(address)) != VARIANT_FALSE;
            widgetsClaimed += objects->IsWidget(objectAt(address)) != VARIANT_FALSE;
            ++probed;
        }
        EXPECT_EQ(0u, objectsClaimed);
        EXPECT_EQ(0u, widgetsClaimed);
    }
    EXPECT_GE(probed, 99000u);
    // The live ones still answer.
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(&hostile.liveObject));
    EXPECT_EQ(VARIANT_FALSE, objects->IsWidget(&hostile.liveObject));
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(&hostile.liveLabel));
    EXPECT_EQ(VARIANT_TRUE, objects->IsWidget(&hostile.liveLabel));
}

TEST_F(HostileAddress, EveryOperationAnswersABadAddressWithAResultCode)
{
    const long pageSize = sysconf(_SC_PAGESIZE);
    void *page = mmap(nullptr, size_t(pageSize), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, page);
    auto freedObject = std::make_unique<QObject>();
    const Address freed = Address(freedObject.get());
    freedObject.reset();
    const Address bad[] = { 0, 1, 0x10, Address(page), freed, 0xFFFF800000001000ull, 0xDEADBEEFDEADBEEFull };

    for (const Address address : bad) {
        SCOPED_TRACE(address);
        auto *object = objectAt(address);
        auto *widget = reinterpret_cast<QWidget *>(address);
        OLECHAR stale[] = u"stale"; // not owned: an out parameter is overwritten, never freed
        BSTR text = stale;
        EXPECT_EQ(E_INVALIDARG, objects->GetObjectName(object, &text));
        EXPECT_EQ(nullptr, text);
        EXPECT_EQ(E_INVALIDARG, objects->GetClassName(object, &text));
        const QMetaObject *meta = &QObject::staticMetaObject;
        EXPECT_EQ(E_INVALIDARG, objects->GetMetaObject(object, &meta));
        EXPECT_EQ(nullptr, meta);
        IvrQtObjectController *controller = nullptr;
        EXPECT_EQ(E_INVALIDARG, objects->CreateObjectController(object, &controller));
        EXPECT_EQ(E_FAIL, widgets->GetWidgetText(widget, &text));
        int value = 0;
        EXPECT_EQ(E_FAIL, widgets->GetWidgetIndex(widget, &value));
        EXPECT_EQ(E_FAIL, widgets->GetScreenX(widget, &value));
        EXPECT_EQ(E_FAIL, widgets->SetWidgetFocus(widget, VARIANT_TRUE));
        VARIANT children;
        V_VT(&children) = VT_EMPTY;
        EXPECT_EQ(VARIANT_FALSE, widgets->GetChildWidgets(widget, &children));
        QWidget *found = nullptr;
        EXPECT_EQ(VARIANT_FALSE, widgets->GetChildAt(widget, 1, 1, &found));
        EXPECT_EQ(VARIANT_FALSE, widgets->GetFocusWidget(widget, &found));
        EXPECT_EQ(VARIANT_FALSE, widgets->HasSiblingOfSameName(widget));
    }
    // Meta-objects and strings that cannot be read.
    for (const Address address : { Address(0), Address(page), Address(0xFFFF800000001000ull) }) {
        SCOPED_TRACE(address);
        BSTR text = nullptr;
        const QMetaObject *super = nullptr;
        EXPECT_EQ(E_INVALIDARG, objects->GetMetaClassName(reinterpret_cast<const QMetaObject *>(address), &text));
        EXPECT_EQ(E_INVALIDARG, objects->GetSuperMetaObject(reinterpret_cast<const QMetaObject *>(address), &super));
        EXPECT_EQ(E_INVALIDARG, objects->GetStringText(reinterpret_cast<const QString *>(address), &text));
    }
    munmap(page, size_t(pageSize));
}

TEST_F(HostileAddress, ObjectWhoseDestructionHasBegunIsNoLongerAnObject)
{
    // A plain QObject announces its death once its destruction has begun.
    auto *dying = new QObject;
    VARIANT_BOOL objectWhileDying = VARIANT_TRUE;
    QObject::connect(dying, &QObject::destroyed, [&](QObject *object) { objectWhileDying = objects->IsQObject(object); });
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(dying));
    delete dying;
    EXPECT_EQ(VARIANT_FALSE, objectWhileDying);
}

TEST_F(HostileAddress, ForgedObjectWhoseDynamicMetaObjectIsAbstractIsRefused)
{
    // A perfect copy of a live object's two words and of its data, except
    // that the data names a dynamic meta-object whose table holds only the
    // stub of abstract classes: calling metaObject() would end the process.
    QObject real;
    const void *const *realWords = reinterpret_cast<const void *const *>(&real);
    alignas(16) unsigned char data[sizeof(QObjectData) + 64] = {};
    std::memcpy(data, reinterpret_cast<const void *>(ObjectData::of(&real)), sizeof(QObjectData));
    void (*const abstractTable[8])() = { abi::__cxa_pure_virtual, abi::__cxa_pure_virtual, abi::__cxa_pure_virtual,
                                         abi::__cxa_pure_virtual, abi::__cxa_pure_virtual, abi::__cxa_pure_virtual,
                                         abi::__cxa_pure_virtual, abi::__cxa_pure_virtual };
    const void *abstractObject[2] = { abstractTable, nullptr };
    const void *forged[2] = { realWords[0], data };
    auto *fields = reinterpret_cast<QObjectData *>(data);
    fields->q_ptr = reinterpret_cast<QObject *>(forged);
    fields->metaObject = reinterpret_cast<QDynamicMetaObjectData *>(abstractObject);

    EXPECT_EQ(VARIANT_FALSE, objects->IsQObject(forged));
    fields->metaObject = nullptr;
    EXPECT_EQ(VARIANT_TRUE, objects->IsQObject(forged)) << "the same forgery without it passes for an object";
}
