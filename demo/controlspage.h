// The input controls of an order form: combo boxes, spin boxes, a date
// editor, radio buttons, a tristate check box and a slider, with a line
// that sums up what they hold.
#pragma once

#include <QPointer>
#include <QWidget>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QDateTimeEdit;
class QDoubleSpinBox;
class QLabel;
class QSlider;
class QSpinBox;

class ControlsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ControlsPage(QWidget *parent = nullptr);

signals:
    void activity(const QString &text);

private:
    QWidget *createOrderForm();
    QWidget *createShippingGroup();
    QWidget *createOptionsGroup();
    void updateSummary();

    // A host may delete any of them: each is used while it lives.
    QPointer<QComboBox> m_city;
    QPointer<QComboBox> m_size;
    QPointer<QSpinBox> m_quantity;
    QPointer<QDoubleSpinBox> m_price;
    QPointer<QDateTimeEdit> m_delivery;
    QPointer<QSlider> m_volume;
    QPointer<QLabel> m_volumeValue;
    QPointer<QButtonGroup> m_shipping;
    QPointer<QCheckBox> m_notify;
    QPointer<QLabel> m_summary;
};
