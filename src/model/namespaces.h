// Rewriting the namespace prefixes of a picker's object names and scripts,
// so one picker serves several copies of a character.
//
// A name's namespaces are read per DAG path segment ("|rig:grp|rig:ctl" uses
// rig) and stop at a component or attribute ("rig:body.vtx[0:3]" uses rig).
// A nested namespace counts with its parents ("rig:sub:hand" uses rig:sub and
// rig), and a rewrite moves a namespace together with everything nested in it.
#pragma once

#include "model/button_model.h"

#include <QString>
#include <QStringList>

// A namespace without its leading and trailing colon; the root is empty.
QString bare_namespace(const QString& ns);
// Adds the namespaces of the name (without their colon), each with its
// parents, to out, once each.
void extract_namespace(QStringList& out, const QString& name);
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

// Both lists hold namespaces with a trailing colon (the root is ":"); entry i
// of the old list becomes entry i of the new one. For each name segment the
// most specific old namespace containing it applies.
void rebind_picker_button(buttonAttributes& a, const QStringList& oldNamespaces,
                          const QStringList& newNamespaces);
// The same for the words of a script; a bare word is not taken for a root
// name (it may be a command or a flag), only one written ":name".
void rebind_cmd_button(buttonAttributes& a, const QStringList& oldNamespaces,
                       const QStringList& newNamespaces);
