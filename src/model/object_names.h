// How object names are read inside names and scripts, one rule for every
// rewrite (namespaces, mirroring): a name is a DAG path of '|'-separated
// segments, each with its namespaces before the last ':', and its node part
// ends at the first attribute or component.
#pragma once

#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

// Letters, digits and '_': what a node or namespace name is made of.
bool is_name_char(QChar c);
// Where the node part ends: at the first '.' or '['.
int node_end(const QString& name);
// Rewrites every name-like word of a script (a run of name characters,
// ':', '|' and '.'), keeping everything between the words as it is.
QString map_script_words(const QString& script, const std::function<QString(const QString&)>& map);
// Rewrites only what a script uses as object names: the name-like words of
// its plain string literals (MEL "...", Python '...' and "..." in any
// quoting, not f-strings or bytes) and, in MEL, its bare command-syntax
// arguments ("select -r hero:arm;"). Comments, flags, variables, Python
// code outside literals (slices, dictionaries, keyword arguments) and
// everything else stay as they are. language: 0 MEL, 1 Python.
QString map_script_names(const QString& script, int language, const std::function<QString(const QString&)>& map);

// Every name that means the same object as `shortest` (the shortest unique
// path the host reports) given its full path: the full path's trailing
// parts at least as long as the shortest one, and the full path itself.
// Any longer tail of a unique path is unique too, and a shorter one is not,
// so these are exactly the names that select this object and no other.
// Without a full path that ends with `shortest`, just `shortest`.
QStringList same_object_names(const QString& shortest, const QString& full);

// The nodes a command script names, as far as a script can be read without
// running it: words that look like namespaced Maya names ("hero:hand",
// "|rig:grp|rig:ctl") or equal a node in `bound` (what the picker's
// selection buttons name), outside comments; in Python only inside string
// literals, where names are, so keywords and variables never count.
QStringList script_object_nodes(const QString& script, bool python, const QSet<QString>& bound);
