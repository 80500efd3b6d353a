#include "picker_steps.h"

#include <sandbox/host.h>

#include <QApplication>
#include <QDockWidget>
#include <QMetaObject>
#include <QRegularExpression>

namespace {

void report(const QString& text)
{
    sandbox::host::instance().log(sandbox::log_kind::error, text);
}

// The picker's dock, docked in the main window or floating on its own.
QDockWidget* picker_dock(QWidget* main_window)
{
    if (auto* dock = main_window->findChild<QDockWidget*>("QuillmarshPicker"))
        return dock;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* dock = qobject_cast<QDockWidget*>(w))
            if (dock->objectName() == "QuillmarshPicker")
                return dock;
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
    QDockWidget* dock = picker_dock(main_window);
    if (!dock) {
        report("--picker-size: the picker window is not open.");
        return;
    }
    dock->resize(w, h);
}

void zoom_picker(QWidget* main_window, const QString& zoom)
{
    bool ok = false;
    const double z = zoom.toDouble(&ok);
    if (!ok || !(z > 0)) {
        report(QString("--picker-zoom takes a zoom greater than 0, not \"%1\".").arg(zoom));
        return;
    }
    QDockWidget* dock = picker_dock(main_window);
    // The picker's view is the plug-in's class: reached by its name.
    QWidget* view = nullptr;
    if (dock)
        for (QWidget* w : dock->findChildren<QWidget*>())
            if (w->inherits("picker_view") && w->isVisible())
                view = w;
    if (!view) {
        report("--picker-zoom: the picker window shows no picker.");
        return;
    }
    QMetaObject::invokeMethod(view, "zoom_to", Q_ARG(double, z));
}
