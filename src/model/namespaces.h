// Rewriting the namespace prefixes of a picker's object names and scripts,
// so one picker serves several copies of a character.
//
// A name's namespaces are read per DAG path segment ("|rig:grp|rig:ctl" uses
// rig) and stop at a component or attribute ("rig:body.vtx[0:3]" uses rig).
// A nested namespace counts with its parents ("rig:sub:hand" uses rig:sub and
// rig), and a rewrite moves a namespace together with everything nested in it.
#pragma once

#include "model/button_model.h"

#include <QSet>
#include <QString>
#include <QVector>
#include <QStringList>

// A namespace without its leading and trailing colon; the root is empty.
QString bare_namespace(const QString& ns);
// Adds the namespaces of the name (without their colon), each with its
// parents, to out, once each.
void extract_namespace(QStringList& out, const QString& name);
// The namespaces the names use, each with its parents, bare, and ":" for
// the root when a name is in it; ordered by how many names each holds
// (with those nested in it), of equals the deepest, then by name. So the
// first is the main namespace: "chars:hero" before "chars" and "sword".
// weights, when given, counts each name as that many.
QStringList namespaces_by_use(const QStringList& names, const QVector<int>& weights = QVector<int>());
// The sort order of namespace lists: case-insensitive.
bool compare_name(const QString& a, const QString& b);
// Index of the first entry that ends with ":<ns>"; -1 when none does.
int findNestedNamespace(const QString& ns, const QStringList& list);

// True for what may be written into names and scripts as a namespace:
// the root ("" or ":") or names of letters, digits and '_' (not starting
// with a digit) joined by ':', with an optional leading or trailing ':'.
bool is_valid_namespace(const QString& ns);
// Adds the pair old -> chosen to the two lists unless both are the same
// namespace; an empty choice is the root. Entries end with ':' (root ":").
void add_namespace_pair(QStringList& from, QStringList& to, const QString& old, const QString& chosen);

// The root-namespace names (each DAG path part) among names: a plain word
// in a script is taken for an object, and moved out of the root, only when
// the picker binds it.
void add_bound_root_names(QSet<QString>& out, const QStringList& names);

// Both lists hold namespaces with a trailing colon (the root is ":"); entry i
// of the old list becomes entry i of the new one. For each name segment the
// most specific old namespace containing it applies.
void rebind_picker_button(buttonAttributes& a, const QStringList& oldNamespaces,
                          const QStringList& newNamespaces);
// The same for the object names of a script (see map_script_names): a name
// under an old namespace moves wherever it is used as a name, a root name
// only when it is one of bound (or written ":name"). A name moved to the
// root is written plain; a namespace alone ("hero:") becomes ":".
void rebind_cmd_button(buttonAttributes& a, const QStringList& oldNamespaces, const QStringList& newNamespaces,
                       const QSet<QString>& bound);
// A whole picker: its selection buttons, and its scripts with the root
// names those buttons bind.
void rebind_buttons(QVector<buttonAttributes>& buttons, const QStringList& oldNamespaces,
                    const QStringList& newNamespaces);
