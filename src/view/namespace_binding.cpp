#include "view/namespace_binding.h"

#include "view/picker_view.h"
#include "window/namespace_dialog.h"

#include <algorithm>

void extract_namespace(QStringList& out, const QString& name)
{
    bool inside = false;
    for (int i = name.size() - 1; i >= 0; --i) {
        const QChar c = name[i];
        if (inside) {
            if (c == '[')
                inside = false;
        } else if (c == ']') {
            inside = true;
        } else if (c == ':') {
            const QString prefix = name.left(i);
            if (!out.contains(prefix))
                out.append(prefix);
        }
    }
}

bool compare_name(const QString& a, const QString& b)
{
    return a.toLower() < b.toLower();
}

bool is_var_char(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == ':' ||
           u == '.' || u == '_';
}

int findNestedNamespace(const QString& ns, const QStringList& list)
{
    const QString tail = QString(":%1").arg(ns);
    for (int i = 0; i < list.size(); ++i)
        if (list[i].endsWith(tail))
            return i;
    return -1;
}

void rebind_picker_button(buttonAttributes& a, const QStringList& from, const QStringList& to)
{
    const int pairs = std::min(from.size(), to.size());
    for (QString& name : a.names) {
        const bool rooted = !name.contains(':');
        for (int j = pairs - 1; j >= 0; --j) {
            if (rooted && from[j] == ":" && to[j] == ":")
                break;
            if (rooted && from[j] == ":") {
                name.prepend(to[j]);
                break;
            }
            if (name.startsWith(from[j]) && to[j] == ":") {
                name.remove(0, from[j].size());
                break;
            }
            if (name.startsWith(from[j])) {
                name.replace(0, from[j].size(), to[j]);
                break;
            }
        }
    }
}

void rebind_cmd_button(buttonAttributes& a, const QStringList& from, const QStringList& to)
{
    if (a.names.isEmpty())
        return;
    const QString& text = a.names[0];
    const int pairs = std::min(from.size(), to.size());
    QString out;
    out.reserve(text.size());
    int i = 0;
    while (i < text.size()) {
        if (!is_var_char(text[i])) {
            out += text[i++];
            continue;
        }
        int end = i;
        while (end < text.size() && is_var_char(text[end]))
            ++end;
        QString word = text.mid(i, end - i);
        for (int j = pairs - 1; j >= 0; --j) {
            if (word.startsWith(from[j])) {
                word.replace(0, from[j].size(), to[j]);
                break;
            }
        }
        out += word;
        i = end;
    }
    a.names[0] = out;
}

// ----- The view's side

void picker_view::collectCurrentNamespace(QStringList& out) const
{
    for (const buttonRecord& r : buttons)
        if (r.kind == 0)
            for (const QString& name : r.names)
                extract_namespace(out, name);
    std::sort(out.begin(), out.end(), compare_name);
}

void picker_view::rebind(QStringList& sceneNamespaces, bool force)
{
    QStringList current;
    collectCurrentNamespace(current);
    current.removeAll(QString());
    if (current.isEmpty()) {
        current << ":";
        if (!sceneNamespaces.contains(":"))
            sceneNamespaces << ":";
    }
    sceneNamespaces.removeAll(QString());
    bool needed = force;
    for (const QString& ns : current)
        if (!sceneNamespaces.contains(ns))
            needed = true;
    if (needed)
        picker_editNamespaceDialog::do_dialog(this, current, sceneNamespaces);
}

void picker_view::update_namespace(const QStringList& chosen)
{
    if (chosen.isEmpty())
        return;
    QStringList current;
    collectCurrentNamespace(current);
    if (current.isEmpty())
        current << ":";
    QStringList from, to;
    for (QString old : current) {
        QString target = chosen[0];
        if (!old.endsWith(':'))
            old += ':';
        if (!target.isEmpty() && !target.endsWith(':'))
            target += ':';
        if (old != target) {
            from << old;
            to << target;
        }
    }
    if (from.isEmpty())
        return;
    for (buttonRecord& r : buttons) {
        if (r.kind == 0)
            rebind_picker_button(r, from, to);
        else if (r.kind == 1)
            rebind_cmd_button(r, from, to);
    }
    // The new names may be selected already, and the scene keeps a copy.
    conform_to_selection();
    refresh();
    signal_changed();
}
