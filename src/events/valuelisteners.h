// The listeners of widgets that hold one value: buttons that check, sliders
// and scroll bars, spin boxes, date-time edits and calendars. Each reports
// the new value; their slots run on the object's thread, inside Qt's
// emission.
#pragma once

#include <QDateTime>

#include "events/objectlistener.h"

class CQCheckBoxListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    // The state is read from the check box, not taken from checked.
    void handleClicked(bool checked);
};

class CQToolButtonListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleClicked(bool checked);
};

class CQCalendarWidgetListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleSelectionChanged();
};

class CQAbstractSliderListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleValueChanged(int value);
};

class CQSpinBoxListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleValueChanged(int i);
};

class CQDoubleSpinBoxListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleValueChanged(double d);
};

class CQDateTimeEditListener : public CQObjectListener
{
    Q_OBJECT

public:
    void Attach() override;

private slots:
    void handleDateTimeChanged(const QDateTime &datetime);
};
