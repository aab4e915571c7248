// What the module tests share: the loaded module with its helper
// interfaces, waits on conditions with a limit, and small conversions.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QObject>
#include <QString>
#include <QWidget>

#include <filesystem>
#include <functional>
#include <string>

#include "../platform/process_support.h" // ScopedVariable, ScopedFolder
#include "../qt_support.h"
#include "host/modulehost.h"
#include "interfaces/controls.h"
#include "interfaces/events.h"

namespace moduletest {

using vrqt::host::Bstr;
using vrqt::host::ModuleHost;
using vrqt::host::Ref;

// The module's file, as an absolute path without links, so that the names
// the module reports of itself can be compared.
inline std::string modulePath()
{
    return std::filesystem::canonical(ModuleHost::defaultModulePath()).string();
}

inline std::string moduleFolder()
{
    return std::filesystem::path(modulePath()).parent_path().string();
}

using qttest::waitUntil;

// Shows a window and waits until it has its native window.
inline bool showAndWait(QWidget *window)
{
    window->show();
    return waitUntil([window] { return window->isVisible() && window->effectiveWinId() != 0; });
}

inline QObject *objectAt(std::uintptr_t address)
{
    return reinterpret_cast<QObject *>(address);
}

// The module loaded through the reference host, with its two helpers.
class ModuleTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(host.load(modulePath())) << host.error();
        objects = host.objects();
        widgets = host.widgets();
        ASSERT_TRUE(objects);
        ASSERT_TRUE(widgets);
    }

    void TearDown() override
    {
        objects.reset();
        widgets.reset();
        host.unload();
    }

    // A control helper interface, asked of the manager as a host asks. A
    // fixture that keeps one must release it before TearDown unloads the
    // module.
    template <typename Interface>
    Ref<Interface> helper(REFIID iid)
    {
        return objects.query<Interface>(iid);
    }

    // A text the module hands out, as UTF-8; "<null>" for a null BSTR.
    template <typename Call>
    std::string textOf(Call call)
    {
        Bstr text;
        const HRESULT hr = call(text.out());
        if (FAILED(hr))
            return "<failed>";
        return text.isNull() ? "<null>" : text.utf8();
    }

    ModuleHost host;
    Ref<IvrQtObjectsHelper> objects;
    Ref<IvrQtWidgetsHelper> widgets;
};

} // namespace moduletest
