#include "pkr_diff.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

#include <functional>

namespace {

// A string as JSON writes it: quoted, with newlines and quotes escaped, so a
// script's change stays on one line; null stays null.
QString quoted(const QString& s)
{
    if (s.isNull())
        return "null";
    const QByteArray array = QJsonDocument(QJsonArray{s}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString names_text(const QStringList& names)
{
    QStringList parts;
    for (const QString& name : names)
        parts << quoted(name);
    return '[' + parts.join(", ") + ']';
}

QString colour(quint32 c)
{
    return QStringLiteral("#%1").arg(c, 8, 16, QLatin1Char('0'));
}

QString kind_word(qint32 kind)
{
    return kind == command_kind ? "command" : kind == attribute_kind ? "attribute" : "selection";
}

// An attribute button's widget and ranges, as the JSON writes them.
QString widget_text(const buttonAttributes& b)
{
    if (b.kind != attribute_kind)
        return QString("none");
    QStringList ranges;
    for (int i = 0; i < widget_plugs(b.widget); ++i)
        ranges << QString("[%1, %2]").arg(b.minimum[i]).arg(b.maximum[i]);
    return widget_name(b.widget) + ' ' + ranges.join(' ');
}

bool is_script(const buttonAttributes& b)
{
    return b.kind == 1 && b.names.size() == 1;
}

QString picture_text(const png_picture& p)
{
    return p.isNull() ? QString("none") : QString("%1 x %2").arg(p.width()).arg(p.height());
}

// How a button is named in a line: its place in the list, label and objects.
QString describe(int index, const buttonAttributes& b)
{
    return QString("buttons[%1] %2 %3 %4")
        .arg(index)
        .arg(kind_word(b.kind), quoted(b.label),
             is_script(b) ? "script " + quoted(b.names.first()) : names_text(b.names));
}

void compare_fields(const buttonAttributes& x, const buttonAttributes& y, const QString& where, QStringList& out)
{
    auto field = [&](const char* name, const QString& before, const QString& after) {
        if (before != after)
            out << QString("%1: %2: %3 -> %4").arg(where, QLatin1String(name), before, after);
    };
    const auto n = [](qint32 v) { return QString::number(v); };
    field("x", n(x.pos.x()), n(y.pos.x()));
    field("y", n(x.pos.y()), n(y.pos.y()));
    field("width", n(x.width), n(y.width));
    field("height", n(x.height), n(y.height));
    // The legacy size follows the width unless a file set it apart.
    if (x.size != x.width || y.size != y.width)
        field("size", n(x.size), n(y.size));
    field("kind", kind_word(x.kind), kind_word(y.kind));
    field("widget", widget_text(x), widget_text(y));
    field("shape", shape_name(x.shape), shape_name(y.shape));
    const auto points = [](const buttonAttributes& b) {
        QStringList out;
        for (const QPoint& p : b.points)
            out << QString("%1 %2").arg(p.x()).arg(p.y());
        return out.join(", ");
    };
    if (x.shape == y.shape)
        field("points", points(x), points(y));
    field("language", x.language == 1 ? "python" : "mel", y.language == 1 ? "python" : "mel");
    field("color", colour(x.color), colour(y.color));
    field("labelColor", colour(x.labelColor), colour(y.labelColor));
    field("label", quoted(x.label), quoted(y.label));
    if (is_script(x) && is_script(y))
        field("script", quoted(x.names.first()), quoted(y.names.first()));
    else
        field("names", names_text(x.names), names_text(y.names));
    if (x.picture != y.picture) {
        const QString before = picture_text(x.picture), after = picture_text(y.picture);
        out << QString("%1: picture: %2 -> %3%4").arg(where, before, after, before == after ? " (other pixels)" : "");
    }
}

} // namespace

QStringList diff_pickers(const pkr_contents& a, const pkr_contents& b)
{
    QStringList out;
    const pkr_header& ha = a.header;
    const pkr_header& hb = b.header;
    if (ha.name != hb.name || ha.name.isNull() != hb.name.isNull())
        out << QString("name: %1 -> %2").arg(quoted(ha.name), quoted(hb.name));
    if (ha.backgroundKey != hb.backgroundKey)
        out << QString("background.key: %1 -> %2").arg(quoted(ha.backgroundKey), quoted(hb.backgroundKey));
    const auto picture = [](const pkr_header& h) { return picture_text(h.background); };
    if (ha.background.png() != hb.background.png())
        out << QString("background: picture %1 -> %2%3")
                   .arg(picture(ha), picture(hb),
                        picture(ha) == picture(hb) ? QString(" (other pixels)") : QString());

    const QVector<buttonAttributes>& left = a.buttons;
    const QVector<buttonAttributes>& right = b.buttons;
    QVector<int> match(left.size(), -1);   // left index -> right index
    QVector<bool> taken(right.size(), false);
    using same_fn = std::function<bool(const buttonAttributes&, const buttonAttributes&)>;
    const same_fn passes[] = {
        [](const buttonAttributes& x, const buttonAttributes& y) {
            return x.kind == y.kind && x.label == y.label && x.names == y.names;
        },
        [](const buttonAttributes& x, const buttonAttributes& y) { return x.kind == y.kind && x.names == y.names; },
        [](const buttonAttributes& x, const buttonAttributes& y) {
            return x.kind == y.kind && !x.label.isEmpty() && x.label == y.label;
        },
    };
    for (const same_fn& same : passes) {
        int from = 0; // pairs keep list order: each search starts after the last pair
        for (int i = 0; i < left.size(); ++i) {
            if (match[i] >= 0)
                continue;
            for (int j = 0; j < right.size(); ++j) {
                const int k = (from + j) % right.size();
                if (!taken[k] && same(left[i], right[k])) {
                    match[i] = k;
                    taken[k] = true;
                    from = k + 1;
                    break;
                }
            }
        }
    }

    for (int i = 0; i < left.size(); ++i)
        if (match[i] < 0)
            out << "removed: " + describe(i, left[i]);
    for (int j = 0; j < right.size(); ++j)
        if (!taken[j])
            out << "added: " + describe(j, right[j]);
    int last = -1;
    bool reordered = false;
    for (int i = 0; i < left.size(); ++i) {
        if (match[i] < 0)
            continue;
        const int j = match[i];
        reordered = reordered || j < last;
        last = j;
        if (left[i] == right[j])
            continue;
        QString where = i == j ? QString("buttons[%1]").arg(i) : QString("buttons[%1] -> buttons[%2]").arg(i).arg(j);
        if (!left[i].label.isEmpty())
            where += ' ' + quoted(left[i].label);
        compare_fields(left[i], right[j], where, out);
    }
    if (reordered)
        out << "buttons: the order of the list changed (it is the order they are drawn in)";
    return out;
}
