// The dialog that makes or edits an attribute button: its label, widget,
// attributes and the range each spans.
#pragma once

#include "model/button_model.h"

#include <QDialog>

class QComboBox;
class QLabel;
class QLineEdit;

class attribute_dialog : public QDialog {
    Q_OBJECT

public:
    attribute_dialog(QWidget* parent, const buttonAttributes& start);
    // What was entered, once accepted.
    const buttonAttributes& result() const { return attrs; }
    // Edits `a` in place; true when the user pressed OK with a usable
    // button (the host has its attributes, each range fits).
    static bool do_dialog(QWidget* parent, buttonAttributes* a);

public slots:
    void accept() override;

private:
    void widget_changed();

    buttonAttributes attrs;
    QLineEdit* labelEdit;
    QComboBox* widgetBox;
    QLineEdit* plugEdit[2];
    QLineEdit* minimumEdit[2];
    QLineEdit* maximumEdit[2];
    QLabel* problem;
};
