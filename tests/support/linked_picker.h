// The plug-in's own code, linked into a test, loaded into the stand-in host
// through its entry points, as Maya loads a plug-in.
#pragma once

#include <sandbox/host.h>

#include <maya/MObject.h>
#include <maya/MStatus.h>

#include <QString>

MStatus initializePlugin(MObject obj);
MStatus uninitializePlugin(MObject obj);

// False, with the host's reason, when the plug-in does not load.
inline bool load_linked_picker(sandbox::host& h, QString* error,
                               const QString& path = QStringLiteral("plug-ins/QuillmarshPicker.so"))
{
    return h.load_linked_plugin("QuillmarshPicker", path, reinterpret_cast<void*>(&initializePlugin),
                                reinterpret_cast<void*>(&uninitializePlugin), error);
}
