// The plug-in's own code, linked into a test, loaded into the stand-in host
// through its entry points, as Maya loads a plug-in.
#pragma once

#include <sandbox/host.h>

#include <maya/MObject.h>
#include <maya/MStatus.h>

#include <QStandardPaths>
#include <QString>
#include <QWidget>

MStatus initializePlugin(MObject obj);
MStatus uninitializePlugin(MObject obj);

// False, with the host's reason, when the plug-in does not load.
inline bool load_linked_picker(sandbox::host& h, QString* error,
                               const QString& path = QStringLiteral("plug-ins/QuillmarshPicker.so"))
{
    return h.load_linked_plugin("QuillmarshPicker", path, reinterpret_cast<void*>(&initializePlugin),
                                reinterpret_cast<void*>(&uninitializePlugin), error);
}

// The start of a test of the plug-in in the host: settings kept apart from
// the user's, a main window to dock into, the plug-in loaded and the host
// idle. Empty, or why the plug-in did not load.
inline QString start_linked_picker(sandbox::host& h, QWidget* main,
                                   const QString& path = QStringLiteral("plug-ins/QuillmarshPicker.so"))
{
    QStandardPaths::setTestModeEnabled(true);
    h.set_main_window(main);
    QString error;
    if (!load_linked_picker(h, &error, path))
        return error.isEmpty() ? QStringLiteral("the plug-in did not load") : error;
    h.drain_idle();
    return QString();
}
