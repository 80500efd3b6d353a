#include "picker_steps.h"

#include <sandbox/host.h>

#include <QApplication>
#include <QMetaObject>
#include <QWidget>
#include <QRegularExpression>

namespace {

void report(const QString& text)
{
    sandbox::host::instance().log(sandbox::log_kind::error, text);
}

// The picker's window, wherever its workspace control has it.
QWidget* picker_window_of(QWidget* main_window)
{
    if (auto* w = main_window->findChild<QWidget*>("QuillmarshPicker"))
        return w;
    for (QWidget* top : QApplication::topLevelWidgets())
        if (auto* w = top->findChild<QWidget*>("QuillmarshPicker"))
            return w;
    return nullptr;
}

} // namespace

void resize_picker(QWidget* main_window, const QString& size)
{
    static const QRegularExpression form("^(\\d{1,5})x(\\d{1,5})$");
    const QRegularExpressionMatch m = form.match(size);
    const int w = m.hasMatch() ? m.captured(1).toInt() : 0, h = m.hasMatch() ? m.captured(2).toInt() : 0;
    if (w < 100 || h < 100 || w > 10000 || h > 10000) {
        report(QString("--picker-size takes WIDTHxHEIGHT, 100 to 10000 pixels each, not \"%1\".").arg(size));
        return;
    }
    QWidget* picker = picker_window_of(main_window);
    if (!picker) {
        report("--picker-size: the picker window is not open.");
        return;
    }
    // A docked picker takes the size its panel gives it.
    if (picker->window() != main_window)
        picker->window()->resize(w, h);
}

void zoom_picker(QWidget* main_window, const QString& zoom)
{
    bool ok = false;
    const double z = zoom.toDouble(&ok);
    if (!ok || !(z > 0)) {
        report(QString("--picker-zoom takes a zoom greater than 0, not \"%1\".").arg(zoom));
        return;
    }
    QWidget* picker = picker_window_of(main_window);
    // The picker's view is the plug-in's class: reached by its name.
    QWidget* view = nullptr;
    if (picker)
        for (QWidget* w : picker->findChildren<QWidget*>())
            if (w->inherits("picker_view") && w->isVisible())
                view = w;
    if (!view) {
        report("--picker-zoom: the picker window shows no picker.");
        return;
    }
    QMetaObject::invokeMethod(view, "zoom_to", Q_ARG(double, z));
}
