// Rewriting the namespace prefixes of a picker's object names and scripts,
// so one picker serves several copies of a character.
#pragma once

#include "model/button_model.h"

#include <QString>
#include <QStringList>

// Adds every namespace prefix of the name (without its colon) to out, once;
// colons inside square brackets are not namespace separators.
void extract_namespace(QStringList& out, const QString& name);
// The sort order of namespace lists: case-insensitive.
bool compare_name(const QString& a, const QString& b);
// Characters of a name in a script: letters, digits, ':', '.' and '_'.
bool is_var_char(QChar c);
// Index of the first entry that ends with ":<ns>"; -1 when none does.
int findNestedNamespace(const QString& ns, const QStringList& list);

// Both lists hold namespaces with a trailing colon (the root is ":"); entry i
// of the old list becomes entry i of the new one.
void rebind_picker_button(buttonAttributes& a, const QStringList& oldNamespaces,
                          const QStringList& newNamespaces);
void rebind_cmd_button(buttonAttributes& a, const QStringList& oldNamespaces,
                       const QStringList& newNamespaces);
