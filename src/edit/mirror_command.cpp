#include "edit/mirror_command.h"

#include "edit/property_commands.h"
#include "model/object_names.h"
#include "model/picker_host.h"
#include "window/window_texts.h"

#include <QSet>

#include <utility>

namespace mirror {

namespace {

// A pattern without the underscores that tie it to a name's start or end.
QString letters(const QString& pattern)
{
    int from = 0;
    int to = pattern.size();
    while (from < to && pattern[from] == '_')
        ++from;
    while (to > from && pattern[to - 1] == '_')
        --to;
    return pattern.mid(from, to - from);
}

// Swaps one side's pattern for the other's in a single name segment or
// word; false when the pattern is not there.
bool swap_in(const QString& word, const QString& from, const QString& to, QString& out)
{
    const QString core = letters(from);
    if (!core.isEmpty() && word == core) {
        out = letters(to);
        return true;
    }
    if (word.size() <= from.size())
        return false;
    const bool prefix = !from.startsWith('_');
    const bool suffix = !from.endsWith('_');
    if (prefix && word.startsWith(from)) {
        out = to + word.mid(from.size());
        return true;
    }
    if (suffix && word.endsWith(from)) {
        out = word.left(word.size() - from.size()) + to;
        return true;
    }
    return false;
}

// The first `most` items, and how many more there are: a message stays
// readable for a button with thousands of names.
QString shortened(const QStringList& items, int most, const char* what, const char* separator = ", ")
{
    if (items.size() <= most)
        return items.join(separator);
    return QString("%1%2and %3 more %4")
        .arg(items.mid(0, most).join(separator), separator)
        .arg(items.size() - most)
        .arg(what);
}

QString map_word(const QString& word, const QStringList& pairs)
{
    QString out;
    for (int i = 0; i + 1 < pairs.size(); i += 2) {
        if (swap_in(word, pairs[i], pairs[i + 1], out) || swap_in(word, pairs[i + 1], pairs[i], out))
            return out;
    }
    return word;
}

} // namespace

QString map_name(const QString& name, const QStringList& pairs)
{
    const int end = node_end(name);
    QStringList segments = name.left(end).split('|');
    for (QString& segment : segments) {
        const int colon = segment.lastIndexOf(':');
        segment = segment.left(colon + 1) + map_word(segment.mid(colon + 1), pairs);
    }
    return segments.join('|') + name.mid(end);
}

QString map_plug(const QString& plug, const QStringList& pairs)
{
    // The node as any name, then each attribute of the path (L_brow on a
    // face control is as sided as the node L_eye_ctrl).
    const int end = node_end(plug);
    QStringList attributes = plug.mid(end).split('.');
    for (QString& attribute : attributes)
        attribute = map_word(attribute, pairs);
    return map_name(plug.left(end), pairs) + attributes.join('.');
}

QString map_label(const QString& label, const QStringList& pairs)
{
    // Streams tell an empty label from none: an empty one stays as it is.
    if (label.isEmpty())
        return label;
    QString out;
    int i = 0;
    while (i < label.size()) {
        if (label[i].isSpace()) {
            out += label[i++];
            continue;
        }
        int end = i;
        while (end < label.size() && !label[end].isSpace())
            ++end;
        out += map_word(label.mid(i, end - i), pairs);
        i = end;
    }
    return out;
}

QString map_script(const QString& script, int language, const QStringList& pairs)
{
    return map_script_names(script, language, [&](const QString& word) { return map_name(word, pairs); });
}

int default_twice_axis(const picker_page* page)
{
    if (!page->background().isNull())
        return page->background().width();
    if (page->isEmpty())
        return 0;
    int left = page->at(0).pos.x();
    int right = left;
    for (const buttonRecord& r : page->buttons()) {
        left = qMin(left, r.pos.x());
        right = qMax(right, r.pos.x());
    }
    return left + right;
}

QList<buttonAttributes> mirrored_copies(const picker_page* page, const QVector<int>& rows, int twiceAxis,
                                        const QStringList& pairs, int* alreadyThere, QStringList* unmapped)
{
    auto key = [](const buttonAttributes& a) {
        return QString("%1 %2 %3 %4").arg(a.kind).arg(a.pos.x()).arg(a.pos.y()).arg(a.names.join('\n'));
    };
    QSet<QString> present;
    for (const buttonRecord& r : page->buttons())
        present.insert(key(r));
    if (alreadyThere)
        *alreadyThere = 0;
    if (unmapped)
        unmapped->clear();
    QList<buttonAttributes> copies;
    QStringList report;
    for (int row : rows) {
        if (row < 0 || row >= page->count())
            continue;
        const buttonAttributes& from = page->at(row);
        buttonAttributes a = from;
        a.pos.setX(twiceAxis - a.pos.x());
        for (QPoint& p : a.points)
            p.setX(-p.x());
        a.label = map_label(a.label, pairs);
        QStringList kept;
        if (names_scene_objects(a.kind)) {
            QSet<QString> seen;
            for (int i = 0; i < a.names.size(); ++i) {
                a.names[i] = a.kind == attribute_kind ? map_plug(from.names[i], pairs) : map_name(from.names[i], pairs);
                if (a.names[i] == from.names[i] && !seen.contains(from.names[i])) {
                    seen.insert(from.names[i]);
                    kept << from.names[i];
                }
            }
        } else if (!a.names.isEmpty()) {
            a.names[0] = map_script(a.names[0], a.language, pairs);
            if (a.names[0] == from.names[0])
                kept << "its script";
        }
        // A button on the axis is its own copy: there is nothing to make.
        if (present.contains(key(a))) {
            if (alreadyThere)
                ++*alreadyThere;
            continue;
        }
        if (!kept.isEmpty()) {
            const QString names = shortened(kept, 5, "names");
            if (!from.label.isEmpty())
                report << QString("%1: %2").arg(from.label, names);
            else if (names_scene_objects(a.kind))
                report << names;
            else
                report << QString("the command button at %1, %2: its script").arg(from.pos.x()).arg(from.pos.y());
        }
        copies << a;
    }
    if (!report.isEmpty()) {
        copies.clear();
        if (unmapped)
            *unmapped = report;
    }
    return copies;
}

QString unmapped_reason(const QStringList& report, const QStringList& pairs)
{
    QStringList shown;
    for (int i = 0; i + 1 < pairs.size(); i += 2)
        shown << pairs[i] + "/" + pairs[i + 1];
    // One arg() call, so a pattern holding "%2" is not filled in itself.
    return QString("the side patterns (%1) do not map these names of %2 button%3: %4")
        .arg(shown.join(", "), QString::number(report.size()), report.size() == 1 ? QString() : QStringLiteral("s"),
             shortened(report, 10, "buttons", "; "));
}

QStringList missing_report(const QList<buttonAttributes>& copies, QStringList* missingNames)
{
    QStringList asked;
    for (const buttonAttributes& a : copies)
        if (names_scene_objects(a.kind))
            asked << a.names;
    asked.removeDuplicates();
    const QStringList missing = asked.isEmpty() ? QStringList() : picker_host::instance().missing_objects(asked);
    const QSet<QString> absent(missing.begin(), missing.end());
    QStringList report;
    for (const buttonAttributes& a : copies) {
        if (!names_scene_objects(a.kind))
            continue;
        QStringList gone;
        for (const QString& name : a.names)
            if (absent.contains(name) && !gone.contains(name))
                gone << name;
        if (gone.isEmpty())
            continue;
        report << (a.label.isEmpty() ? gone.join(", ") : QString("%1: %2").arg(a.label, gone.join(", ")));
    }
    if (missingNames) {
        missingNames->clear();
        for (const QString& name : std::as_const(asked))
            if (absent.contains(name))
                *missingNames << name;
    }
    return report;
}

QString missing_warning(const QString& what, const QStringList& report)
{
    return QString("%1 - %2: %3 mirrored button%4 select%5 objects the scene does not have: %6")
        .arg(texts::command_name, what)
        .arg(report.size())
        .arg(report.size() == 1 ? "" : "s", report.size() == 1 ? "s" : "")
        .arg(report.join("; "));
}

} // namespace mirror

mirror_buttons_cmd::mirror_buttons_cmd(picker_page* page, const QList<buttonAttributes>& copies)
    : page(page)
{
    setText(copies.size() == 1 ? "Mirror Button" : "Mirror Buttons");
    added.buttons = copies;
}

// The host keeps its selection: the copies' objects may not even exist.
void mirror_buttons_cmd::redo()
{
    picker_page::hold hold(page);
    const QVector<int> rows = added.put_in(*page);
    page->clear_selected(true);
    for (int row : rows)
        page->select(row, true);
    // Lit alone, they are the targets.
    page->drop_picks();
}

void mirror_buttons_cmd::undo()
{
    picker_page::hold hold(page);
    added.take_out(*page);
    page->conform_to_selection();
}

int mirror_buttons_cmd::id() const
{
    return command_id::mirror;
}
