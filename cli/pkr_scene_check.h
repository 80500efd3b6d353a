// Whether a picker's objects exist in a scene, read by the sandbox host as
// Maya would read it, without a display and without running any of it.
#pragma once

#include "model/button_model.h"

#include <QString>
#include <QStringList>
#include <QVector>

// Opens the scene for checking: only its nodes, namespaces and references
// are read; a file operation other than a reference, or a plug-in load, is
// refused. False with *why when it cannot be read whole.
bool open_scene_for_check(const QString& path, QString* why);

// The picker's main namespace, the one update_namespace moves ("" for the
// root); null when it binds no names.
QString main_namespace(const QVector<buttonAttributes>& buttons);

// One line per object the open scene lacks: `button "LABEL": missing NAME`
// (`button at X,Y` for a button without a label). A selection button's
// names are checked; of a command button's script, only the words that look
// like namespaced Maya names or equal a name the picker binds elsewhere (in
// Python, only inside string literals), so keywords and variables pass.
QStringList missing_objects(const QVector<buttonAttributes>& buttons);
