#include "nativepage.h"

#include <QLabel>
#include <QPalette>
#include <QPushButton>
#include <QVBoxLayout>

NativePage::NativePage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("nativePage"));
    auto *layout = new QVBoxLayout(this);
    auto *explanation = new QLabel(tr("The dark surface below has a native window of its own; "
                                      "everything around it and inside it has none."));
    explanation->setWordWrap(true);
    layout->addWidget(explanation);

    // The surface is the holder's only child: Qt makes the siblings of a
    // native widget native too, and this keeps the rest of the page alien.
    auto *holder = new QWidget;
    holder->setObjectName(QStringLiteral("nativeHolder"));
    auto *holderLayout = new QVBoxLayout(holder);
    holderLayout->setContentsMargins(0, 0, 0, 0);

    auto *surface = new QWidget;
    surface->setObjectName(QStringLiteral("nativeSurface"));
    // Without this attribute Qt would make every ancestor native as well.
    surface->setAttribute(Qt::WA_DontCreateNativeAncestors);
    surface->setAttribute(Qt::WA_NativeWindow);
    surface->setMinimumSize(320, 200);
    surface->setAutoFillBackground(true);
    QPalette dark = surface->palette();
    dark.setColor(QPalette::Window, QColor(0x30, 0x34, 0x3c));
    dark.setColor(QPalette::WindowText, Qt::white);
    surface->setPalette(dark);

    auto *surfaceLayout = new QVBoxLayout(surface);
    auto *caption = new QLabel(tr("Native surface"));
    caption->setObjectName(QStringLiteral("nativeCaption"));
    caption->setAlignment(Qt::AlignCenter);
    surfaceLayout->addWidget(caption);
    auto *button = new QPushButton(tr("Inside"));
    button->setObjectName(QStringLiteral("nativeInsideButton"));
    connect(button, &QPushButton::clicked, this, [this] { emit activity(tr("Native surface: button clicked")); });
    surfaceLayout->addWidget(button, 0, Qt::AlignCenter);

    holderLayout->addWidget(surface);
    layout->addWidget(holder, 1);
}
