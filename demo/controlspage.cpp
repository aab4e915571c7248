#include "controlspage.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

ControlsPage::ControlsPage(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("controlsPage"));
    auto *layout = new QVBoxLayout(this);
    auto *columns = new QHBoxLayout;
    columns->addWidget(createOrderForm(), 1);
    auto *side = new QVBoxLayout;
    side->addWidget(createShippingGroup());
    side->addWidget(createOptionsGroup());
    side->addStretch();
    columns->addLayout(side);
    layout->addLayout(columns);

    m_summary = new QLabel;
    m_summary->setObjectName(QStringLiteral("summaryLabel"));
    m_summary->setFrameShape(QFrame::StyledPanel);
    m_summary->setWordWrap(true);
    layout->addWidget(m_summary);
    layout->addStretch();
    updateSummary();
}

QWidget *ControlsPage::createOrderForm()
{
    auto *group = new QGroupBox(tr("Order"));
    group->setObjectName(QStringLiteral("orderGroup"));
    auto *form = new QFormLayout(group);

    m_city = new QComboBox;
    m_city->setObjectName(QStringLiteral("cityCombo"));
    m_city->setEditable(true);
    m_city->addItems({ QStringLiteral("Berlin"), QStringLiteral("Lisbon"), QStringLiteral("Oslo"),
                       QStringLiteral("Paris"), QStringLiteral("Rome") });
    m_city->setCurrentIndex(1);
    form->addRow(tr("City:"), m_city);

    m_size = new QComboBox;
    m_size->setObjectName(QStringLiteral("sizeCombo"));
    m_size->addItems({ tr("Small"), tr("Medium"), tr("Large"), tr("Extra Large") });
    m_size->setCurrentIndex(1);
    form->addRow(tr("Si&ze:"), m_size);

    m_quantity = new QSpinBox;
    m_quantity->setObjectName(QStringLiteral("quantitySpin"));
    m_quantity->setRange(0, 999);
    m_quantity->setValue(3);
    form->addRow(tr("&Quantity:"), m_quantity);

    // The suffix makes the text differ from the value, as prices do.
    m_price = new QDoubleSpinBox;
    m_price->setObjectName(QStringLiteral("priceSpin"));
    m_price->setRange(0, 10000);
    m_price->setDecimals(2);
    m_price->setSuffix(QStringLiteral(" EUR"));
    m_price->setValue(19.99);
    form->addRow(tr("Price:"), m_price);

    // A fixed start and a fixed format, so that what it shows does not
    // depend on the day or the locale it runs in.
    m_delivery = new QDateTimeEdit(QDateTime(QDate(2024, 6, 14), QTime(9, 30)));
    m_delivery->setObjectName(QStringLiteral("deliveryEdit"));
    m_delivery->setDisplayFormat(QStringLiteral("yyyy-MM-dd HH:mm"));
    m_delivery->setCalendarPopup(true);
    form->addRow(tr("Delivery:"), m_delivery);

    m_volume = new QSlider(Qt::Horizontal);
    m_volume->setObjectName(QStringLiteral("volumeSlider"));
    m_volume->setRange(0, 100);
    m_volume->setPageStep(10);
    m_volume->setTickPosition(QSlider::TicksBelow);
    m_volume->setTickInterval(10);
    m_volume->setValue(40);
    m_volumeValue = new QLabel;
    m_volumeValue->setObjectName(QStringLiteral("volumeLabel"));
    m_volumeValue->setMinimumWidth(m_volumeValue->fontMetrics().horizontalAdvance(QStringLiteral("100")));
    auto *volumeRow = new QHBoxLayout;
    volumeRow->addWidget(m_volume);
    volumeRow->addWidget(m_volumeValue);
    form->addRow(tr("Volume:"), volumeRow);

    connect(m_city, &QComboBox::currentTextChanged, this, &ControlsPage::updateSummary);
    connect(m_size, &QComboBox::currentTextChanged, this, &ControlsPage::updateSummary);
    connect(m_quantity, QOverload<int>::of(&QSpinBox::valueChanged), this, &ControlsPage::updateSummary);
    connect(m_price, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, &ControlsPage::updateSummary);
    connect(m_delivery, &QDateTimeEdit::dateTimeChanged, this, &ControlsPage::updateSummary);
    connect(m_volume, &QSlider::valueChanged, this, &ControlsPage::updateSummary);
    return group;
}

QWidget *ControlsPage::createShippingGroup()
{
    auto *group = new QGroupBox(tr("Shipping"));
    group->setObjectName(QStringLiteral("shippingGroup"));
    auto *layout = new QVBoxLayout(group);
    m_shipping = new QButtonGroup(this);
    m_shipping->setObjectName(QStringLiteral("shippingButtons"));

    // Two named, two not, and one that cannot be chosen today.
    struct Choice
    {
        QString text;
        const char *objectName;
    };
    const Choice choices[] = {
        { tr("Standard"), "standardRadio" },
        { tr("Express"), "expressRadio" },
        { tr("Pickup"), nullptr },
        { tr("Drone (unavailable)"), nullptr },
    };
    int id = 0;
    for (const Choice &choice : choices) {
        auto *radio = new QRadioButton(choice.text);
        if (choice.objectName)
            radio->setObjectName(QLatin1String(choice.objectName));
        m_shipping->addButton(radio, id++);
        layout->addWidget(radio);
    }
    m_shipping->button(0)->setChecked(true);
    m_shipping->button(3)->setEnabled(false);

    connect(m_shipping, &QButtonGroup::idClicked, this, [this](int id) {
        if (const QAbstractButton *chosen = m_shipping ? m_shipping->button(id) : nullptr)
            emit activity(tr("Shipping: %1").arg(chosen->text()));
    });
    connect(m_shipping, &QButtonGroup::idToggled, this, &ControlsPage::updateSummary);
    return group;
}

QWidget *ControlsPage::createOptionsGroup()
{
    auto *group = new QGroupBox(tr("Options"));
    group->setObjectName(QStringLiteral("optionsGroup"));
    auto *layout = new QVBoxLayout(group);

    // Starts in the third state, which only a tristate box can show.
    m_notify = new QCheckBox(tr("Notify me"));
    m_notify->setObjectName(QStringLiteral("notifyCheck"));
    m_notify->setTristate(true);
    m_notify->setCheckState(Qt::PartiallyChecked);
    m_notify->setToolTip(tr("Partly: only when the delivery is late"));
    layout->addWidget(m_notify);

    auto *gift = new QCheckBox(tr("Gift wrap"));
    gift->setObjectName(QStringLiteral("giftCheck"));
    layout->addWidget(gift);

    // clicked for the user's changes, toggled for a program's.
    connect(m_notify, &QCheckBox::clicked, this, &ControlsPage::updateSummary);
    connect(m_notify, &QCheckBox::toggled, this, &ControlsPage::updateSummary);
    return group;
}

void ControlsPage::updateSummary()
{
    if (m_volumeValue && m_volume)
        m_volumeValue->setNum(m_volume->value());
    // A form a host took a field of sums up no more.
    if (!m_summary || !m_quantity || !m_size || !m_city || !m_price || !m_delivery || !m_notify)
        return;
    const QAbstractButton *shipping = m_shipping ? m_shipping->checkedButton() : nullptr;
    const QString notify[] = { tr("no notice"), tr("notice if late"), tr("notice") };
    // One arg() call: a typed city such as "%1" must stay as typed.
    m_summary->setText(tr("%1 x %2 to %3 at %4 EUR each, %5 on %6, %7")
                           .arg(QString::number(m_quantity->value()), m_size->currentText(), m_city->currentText(),
                                QString::number(m_price->value(), 'f', 2),
                                shipping ? shipping->text() : tr("no shipping"),
                                m_delivery->dateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                                notify[m_notify->checkState()]));
}
