// Object controllers in both forms: the listening form the module takes
// for Qt 5, and the guard-cell form selected through VRQT_QT_GENERATION=1.
// A controller holds its object weakly, learns of its death, and never
// touches it afterwards.
#include <QLabel>

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
    EXPECT_EQ(controller.get(), controller.query<IvrQtObjectController>(IID_IvrQtObjectController).get());
    EXPECT_FALSE(controller.query<IvrQtObjectProxy>(IID_IvrQtObjectProxy));
}

TEST_P(Controllers, ControllerLearnsOfItsObjectsDeath)
{
    auto object = std::make_unique<QObject>();
    auto window = std::make_unique<QWidget>();
    auto *alien = new QLabel("alien", window.get());
    ASSERT_TRUE(showAndWait(window.get()));

    const Ref<IvrQtObjectController> objectController = controllerFor(object.get());
    const Ref<IvrQtObjectController> windowController = controllerFor(window.get());
    const Ref<IvrQtObjectController> alienController = controllerFor(alien);
    for (const auto *controller : { &objectController, &windowController, &alienController })
        EXPECT_EQ(VARIANT_TRUE, (*controller)->IsObjectAlive());

    object.reset();
    EXPECT_EQ(VARIANT_FALSE, objectController->IsObjectAlive());
    EXPECT_EQ(VARIANT_TRUE, windowController->IsObjectAlive());
    // The window takes its child with it.
    window.reset();
    EXPECT_EQ(VARIANT_FALSE, windowController->IsObjectAlive());
    EXPECT_EQ(VARIANT_FALSE, alienController->IsObjectAlive());
}

TEST_P(Controllers, ObjectsOutliveTheirControllers)
{
    auto object = std::make_unique<QObject>();
    auto window = std::make_unique<QWidget>();
    auto *alien = new QLabel("alien", window.get());
    ASSERT_TRUE(showAndWait(window.get()));
    for (QObject *target : { object.get(), static_cast<QObject *>(window.get()), static_cast<QObject *>(alien) }) {
        Ref<IvrQtObjectController> controller = controllerFor(target);
        EXPECT_EQ(VARIANT_TRUE, controller->IsObjectAlive());
    }
    // Deleting the objects now must reach nothing of the controllers (the
    // address checker of sanitizer builds watches).
    object.reset();
    window.reset();
}

TEST_P(Controllers, TwoControllersOnOneObjectAreIndependent)
{
    auto object = std::make_unique<QObject>();
    Ref<IvrQtObjectController> first = controllerFor(object.get());
    const Ref<IvrQtObjectController> second = controllerFor(object.get());
    EXPECT_NE(first.get(), second.get());
    first.reset();
    EXPECT_EQ(VARIANT_TRUE, second->IsObjectAlive());
    object.reset();
    EXPECT_EQ(VARIANT_FALSE, second->IsObjectAlive());
}

TEST_P(Controllers, ControllerReleasedOnAHostThreadLeavesTheObjectIntact)
{
    auto object = std::make_unique<QObject>();
    QWidget window;
    ASSERT_TRUE(showAndWait(&window));
    Ref<IvrQtObjectController> objectController = controllerFor(object.get());
    Ref<IvrQtObjectController> windowController = controllerFor(&window);
    VARIANT_BOOL aliveSeenByHost = VARIANT_FALSE;
    // The GUI thread cannot be reached from there yet: the controllers let
    // go of their objects without touching them.
    std::thread host([&] {
        aliveSeenByHost = windowController->IsObjectAlive();
        objectController.reset();
        windowController.reset();
    });
    host.join();
    EXPECT_EQ(VARIANT_TRUE, aliveSeenByHost);
    object->setObjectName("still usable");
    object.reset();
}

TEST_P(Controllers, BadArgumentsGiveClearResults)
{
    IvrQtObjectController *controller = reinterpret_cast<IvrQtObjectController *>(1);
    EXPECT_EQ(E_INVALIDARG, objects->CreateObjectController(nullptr, &controller));
    EXPECT_EQ(nullptr, controller);
    int notAnObject[4] = {};
    EXPECT_EQ(E_INVALIDARG, objects->CreateObjectController(reinterpret_cast<QObject *>(notAnObject), &controller));
    EXPECT_EQ(nullptr, controller);
    QObject object;
    EXPECT_EQ(E_POINTER, objects->CreateObjectController(&object, nullptr));
}

INSTANTIATE_TEST_SUITE_P(BothForms, Controllers, ::testing::ValuesIn(forms),
                         [](const ::testing::TestParamInfo<Form> &info) { return std::string(info.param.name); });
