// Object controllers in both forms: the listening form the module takes
// for Qt 5, and the guard-cell form selected through VRQT_QT_GENERATION=1.
// A controller holds its object weakly, learns of its death, and never
// touches it afterwards.
#include <QLabel>

#include <atomic>
#include <memory>
#include <thread>

#include "modulesupport.h"

using namespace moduletest;

namespace {

struct Form {
    const char *name;
    const char *generation; // VRQT_QT_GENERATION, or null for the default
    bool listening;
};

void PrintTo(const Form &form, std::ostream *out)
{
    *out << form.name;
}

const Form forms[] = {
    { "Listening", nullptr, true },
    { "ListeningChosen", "2", true },
    { "GuardCell", "1", false },
};

class Controllers : public ModuleTest, public ::testing::WithParamInterface<Form>
{
protected:
    // The generation is read at the module's first use of it, after load.
    Controllers() : generation("VRQT_QT_GENERATION", GetParam().generation) {}

    Ref<IvrQtObjectController> controllerFor(QObject *object)
    {
        Ref<IvrQtObjectController> controller;
        EXPECT_EQ(S_OK, objects->CreateObjectController(object, reinterpret_cast<IvrQtObjectController **>(controller.out())));
        EXPECT_TRUE(controller);
        return controller;
    }

    ScopedVariable generation;
};

} // namespace

TEST_P(Controllers, FormFollowsTheQtGeneration)
{
    QObject object;
    const Ref<IvrQtObjectController> controller = controllerFor(&object);
    // Only the listening form is also a sink for its listener's reports.
    const auto sink = controller.query<IvrQtEventsNotifierInternal>(IID_IvrQtEventsNotifierInternal);
    EXPECT_EQ(GetParam().listening, bool(sink));
    if (sink) {
        // Reports of actions are not a controller's business.
        VARIANT value;
        VariantInit(&value);
        EXPECT_EQ(S_OK, sink->OnObjectEvent(&object, &IID_NULL, &IID_NULL, value, nullptr));
        EXPECT_EQ(VARIANT_TRUE, controller->IsObjectAlive());
    }
    EXPECT_FALSE(controller.query<IvrQtObjectProxy>(IID_IvrQtObjectProxy));
    // Bad addresses are refused in the hostile-address tests.
    EXPECT_EQ(E_POINTER, objects->CreateObjectController(&object, nullptr));
}

TEST_P(Controllers, ControllerLearnsOfItsObjectsDeathAndObjectsOutliveControllers)
{
    auto object = std::make_unique<QObject>();
    auto window = std::make_unique<QWidget>();
    auto *alien = new QLabel("alien", window.get());
    ASSERT_TRUE(showAndWait(window.get()));

    const Ref<IvrQtObjectController> objectController = controllerFor(object.get());
    Ref<IvrQtObjectController> released = controllerFor(object.get());
    const Ref<IvrQtObjectController> windowController = controllerFor(window.get());
    const Ref<IvrQtObjectController> alienController = controllerFor(alien);
    controllerFor(alien); // released at once: deleting the label must reach nothing of it
    EXPECT_NE(objectController.get(), released.get());
    for (const auto *controller : { &objectController, &windowController, &alienController })
        EXPECT_EQ(VARIANT_TRUE, (*controller)->IsObjectAlive());
    released.reset();

    object.reset();
    EXPECT_EQ(VARIANT_FALSE, objectController->IsObjectAlive());
    EXPECT_EQ(VARIANT_TRUE, windowController->IsObjectAlive());
    // The window takes its child with it.
    window.reset();
    EXPECT_EQ(VARIANT_FALSE, windowController->IsObjectAlive());
    EXPECT_EQ(VARIANT_FALSE, alienController->IsObjectAlive());
}

// Tells how many connections watch its death.
class Watched : public QObject
{
public:
    int deathWatchers() const { return receivers(SIGNAL(destroyed(QObject *))); }
};

TEST_P(Controllers, ControllerReleasedOnAHostThreadLetsGoOnTheObjectsThread)
{
    auto object = std::make_unique<Watched>();
    QWidget window;
    ASSERT_TRUE(showAndWait(&window));
    Ref<IvrQtObjectController> objectController = controllerFor(object.get());
    Ref<IvrQtObjectController> windowController = controllerFor(&window);
    // The listening form watches the object through a listener.
    EXPECT_EQ(GetParam().listening, object->deathWatchers() > 0);
    VARIANT_BOOL aliveSeenByHost = VARIANT_FALSE;
    std::atomic<bool> released{ false };
    // The release crosses to the GUI thread, whose loop turns meanwhile.
    std::thread host([&] {
        aliveSeenByHost = windowController->IsObjectAlive();
        objectController.reset();
        windowController.reset();
        released.store(true);
    });
    EXPECT_TRUE(waitUntil([&] { return released.load(); }, 20000));
    host.join();
    EXPECT_EQ(VARIANT_TRUE, aliveSeenByHost);
    // Let go of there: nothing watches the object any more.
    EXPECT_EQ(0, object->deathWatchers());
    object->setObjectName("still usable");
    object.reset();
}

INSTANTIATE_TEST_SUITE_P(BothForms, Controllers, ::testing::ValuesIn(forms),
                         [](const ::testing::TestParamInfo<Form> &info) { return std::string(info.param.name); });
