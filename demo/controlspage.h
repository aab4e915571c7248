// The input controls of an order form: combo boxes, spin boxes, a date
// editor, radio buttons, a tristate check box and a slider, with a line
// that sums up what they hold.
#pragma once

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

    QComboBox *m_city = nullptr;
    QComboBox *m_size = nullptr;
    QSpinBox *m_quantity = nullptr;
    QDoubleSpinBox *m_price = nullptr;
    QDateTimeEdit *m_delivery = nullptr;
    QSlider *m_volume = nullptr;
    QLabel *m_volumeValue = nullptr;
    QButtonGroup *m_shipping = nullptr;
    QCheckBox *m_notify = nullptr;
    QLabel *m_summary = nullptr;
};
