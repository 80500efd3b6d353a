#include "model/pkr_json.h"

#include "model/limits.h"
#include "model/safe_file.h"
#include "model/scene_data.h"
#include "model/side_patterns.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cctype>
#include <cmath>
#include <initializer_list>
#include <utility>

namespace pkr_json {

namespace {

// Strings keep the difference between null and empty, which the binary
// form keeps too (a null string is written as a length of -1).
QJsonValue text_value(const QString& s)
{
    return s.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(s);
}

QString colour_text(quint32 c)
{
    return QStringLiteral("#%1").arg(c, 8, 16, QLatin1Char('0'));
}

// Thrown through the reader with the place and the problem.
struct bad_json {
    QString why;
};

[[noreturn]] void fail(const QString& where, const QString& why)
{
    throw bad_json{where.isEmpty() ? why : where + ": " + why};
}

// The JSON path of a key inside the object at `where` ("buttons[3].x").
QString at(const QString& where, const char* key)
{
    return where.isEmpty() ? QString::fromLatin1(key) : where + '.' + QLatin1String(key);
}

// A key the format does not know is a mistake (a typo such as "colour"),
// never something to drop silently.
void known_keys_only(const QJsonObject& o, std::initializer_list<const char*> known, const QString& where)
{
    for (auto it = o.begin(); it != o.end(); ++it) {
        bool found = false;
        for (const char* key : known)
            found = found || it.key() == QLatin1String(key);
        if (!found)
            fail(where.isEmpty() ? it.key() : where + '.' + it.key(), "unknown key");
    }
}

QJsonValue required(const QJsonObject& o, const char* key, const QString& where)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined())
        fail(at(where, key), "missing");
    return v;
}

QString read_text(const QJsonObject& o, const char* key, const QString& where)
{
    const QJsonValue v = required(o, key, where);
    if (v.isNull())
        return QString();
    if (!v.isString())
        fail(at(where, key), "must be a string or null");
    // An empty JSON string is an empty, not a null, string.
    const QString s = v.toString();
    return s.isNull() ? QString("") : s;
}

qint32 read_int(const QJsonObject& o, const char* key, const QString& where, qint64 low, qint64 high)
{
    const QJsonValue v = required(o, key, where);
    // Compared as a double before any conversion: converting NaN, an
    // infinity or anything beyond 64 bits to an integer is undefined.
    const double d = v.toDouble();
    if (!v.isDouble() || !(d >= double(low) && d <= double(high)) || d != std::trunc(d))
        fail(at(where, key), QString("must be a whole number from %1 to %2").arg(low).arg(high));
    return qint32(d);
}

QString read_choice(const QJsonObject& o, const char* key, const QString& where, const char* one, const char* other)
{
    const QJsonValue v = required(o, key, where);
    if (v.toString() != QLatin1String(one) && v.toString() != QLatin1String(other))
        fail(at(where, key), QString("must be \"%1\" or \"%2\"").arg(one, other));
    return v.toString();
}

quint32 read_colour(const QJsonObject& o, const char* key, const QString& where)
{
    const QJsonValue v = required(o, key, where);
    quint32 c = 0;
    if (!v.isString() || !parse_colour(v.toString(), &c))
        fail(at(where, key), "must be a colour: #rrggbb, #aarrggbb or a colour name such as \"red\"");
    return c;
}

// The bytes are kept as they are, so they must be a picture a .pkr could
// hold and read back.
png_picture read_png(const QByteArray& png, const QString& where)
{
    if (png.size() > limits::max_image_bytes)
        fail(where, QString("the picture is larger than %1 MB").arg(limits::max_image_bytes >> 20));
    png_picture picture;
    QSize size;
    switch (picture_from_png(png, picture, &size)) {
    case png_check::ok:
        break;
    case png_check::not_png:
        fail(where, "the picture is not a PNG image");
    case png_check::damaged:
        fail(where, "the picture is cut short or damaged");
    case png_check::too_large:
        fail(where, QString("the picture is %1 x %2 pixels; a picker holds at most %3 x %3")
                        .arg(size.width()).arg(size.height()).arg(limits::image_square_side));
    case png_check::undecodable:
        fail(where, "the picture cannot be decoded");
    }
    return picture;
}

// The bytes of a picture file the JSON names. Unless `pictures` says
// otherwise, it must lie inside `base_dir` once every link and ".." is
// resolved, so a JSON from elsewhere cannot make the tool read whatever
// file it can reach.
QByteArray read_picture_file(const QString& name, const QString& base_dir, picture_files pictures)
{
    if (name.isEmpty())
        fail("background.file", "must name a picture");
    QString path = QDir(base_dir).filePath(name);
    if (pictures == picture_files::inside_base_dir) {
        if (QDir::isAbsolutePath(name))
            fail("background.file", QString("the picture \"%1\" must be named relative to the JSON's folder").arg(name));
        const QString folder = QFileInfo(base_dir).canonicalFilePath();
        const QString found = QFileInfo(path).canonicalFilePath();
        if (found.isEmpty())
            fail("background.file", QString("cannot read the picture \"%1\": it does not exist").arg(name));
        if (folder.isEmpty() || !found.startsWith(folder.endsWith('/') ? folder : folder + '/'))
            fail("background.file", QString("the picture \"%1\" is outside the JSON's folder").arg(name));
        path = found;
    }
    QFile file;
    QString why;
    if (open_regular_file(file, path, &why) != read_open::ok)
        fail("background.file", QString("cannot read the picture \"%1\": %2").arg(name, why));
    const QByteArray png = file.read(limits::max_image_bytes + 1);
    if (png.size() > limits::max_image_bytes)
        fail("background.file", QString("the picture is larger than %1 MB").arg(limits::max_image_bytes >> 20));
    return png;
}

// Side patterns as the picker takes them: pairs of strings, at least one.
QStringList read_patterns(const QJsonValue& value)
{
    const QString where = "mirrorPatterns";
    if (!value.isArray())
        fail(where, "must be a list of strings");
    const QJsonArray array = value.toArray();
    if (array.size() > limits::max_side_patterns)
        fail(where, QString("a picker holds at most %1 pairs of patterns").arg(limits::max_side_patterns / 2));
    QStringList pairs;
    for (const QJsonValue& v : array) {
        if (!v.isString())
            fail(where, "must be a list of strings");
        pairs << v.toString();
    }
    const QString why = pairs.isEmpty() ? QString("must hold at least one pair") : side_patterns::check(pairs);
    if (!why.isEmpty())
        fail(where, why);
    return pairs;
}

// "shape" (optional: without it, the shape the button was drawn with before
// buttons had one) and, for a polygon only, "points": [x, y] pairs relative
// to the centre.
void read_shape(const QJsonObject& o, const QString& where, buttonAttributes& a)
{
    if (o.contains("shape")) {
        const QJsonValue v = o.value("shape");
        a.shape = v.isString() ? shape_from_name(v.toString()) : -1;
        if (a.shape < 0)
            fail(at(where, "shape"), "must be \"rectangle\", \"rounded\", \"ellipse\" or \"polygon\"");
    }
    const bool polygon = a.shape == qint32(button_shape::polygon);
    if (!o.contains("points")) {
        if (polygon)
            fail(at(where, "points"), "missing");
        return;
    }
    const QString list_where = at(where, "points");
    if (!polygon)
        fail(list_where, "only a polygon has points");
    const QJsonValue points = o.value("points");
    const QJsonArray list = points.toArray();
    if (!points.isArray() || list.size() < limits::min_polygon_points || list.size() > limits::max_polygon_points)
        fail(list_where, QString("must be a list of %1 to %2 points")
                             .arg(limits::min_polygon_points)
                             .arg(limits::max_polygon_points));
    const qint64 most = 2 * qint64(limits::max_coordinate);
    for (int i = 0; i < list.size(); ++i) {
        const QString point_where = QString("%1[%2]").arg(list_where).arg(i);
        const QJsonArray pair = list.at(i).toArray();
        if (!list.at(i).isArray() || pair.size() != 2)
            fail(point_where, "must be a pair [x, y]");
        qint32 xy[2] = {};
        for (int k = 0; k < 2; ++k) {
            const QJsonValue v = pair.at(k);
            const double d = v.toDouble();
            if (!v.isDouble() || !(d >= double(-most) && d <= double(most)) || d != std::trunc(d))
                fail(QString("%1[%2]").arg(point_where).arg(k),
                     QString("must be a whole number from %1 to %2").arg(-most).arg(most));
            xy[k] = qint32(d);
        }
        a.points.append(QPoint(xy[0], xy[1]));
    }
}

// An attribute button's widget and the range of each of its plugs.
void read_widget(const QJsonObject& o, const QString& where, buttonAttributes& a)
{
    if (a.kind != attribute_kind) {
        for (const char* key : {"widget", "ranges"})
            if (o.contains(key))
                fail(at(where, key), "only an attribute button has one");
        return;
    }
    const QJsonValue widget = required(o, "widget", where);
    a.widget = widget_from_name(widget.toString());
    if (a.widget < 0)
        fail(at(where, "widget"), "must be \"slider\", \"slider2d\" or \"checkbox\"");
    const int plugs = widget_plugs(a.widget);
    const QString names_where = at(where, "names");
    if (a.names.size() != plugs)
        fail(names_where, plugs == 2 ? "must hold two attributes" : "must hold one attribute");
    for (int i = 0; i < plugs; ++i)
        if (!is_plug_name(a.names[i]))
            fail(QString("%1[%2]").arg(names_where).arg(i), "must be an attribute, node.attribute");
    const QString ranges_where = at(where, "ranges");
    const QJsonArray ranges = required(o, "ranges", where).toArray();
    if (ranges.size() != plugs)
        fail(ranges_where, plugs == 2 ? "must hold two ranges" : "must hold one range");
    const double most = limits::max_attribute_value;
    for (int i = 0; i < plugs; ++i) {
        const QJsonArray pair = ranges.at(i).toArray();
        const double lo = pair.at(0).toDouble(qQNaN()), hi = pair.at(1).toDouble(qQNaN());
        if (pair.size() != 2 || !usable_range(lo, hi))
            fail(QString("%1[%2]").arg(ranges_where).arg(i),
                 QString("must be [minimum, maximum], the minimum below the maximum, within +-%1").arg(most));
        a.minimum[i] = lo;
        a.maximum[i] = hi;
    }
}

// A button's picture: base64 PNG bytes, kept as they are, within a button
// picture's limits and the pixels the picker's pictures share.
png_picture read_button_picture(const QJsonValue& v, const QString& where, picture_pool& pool)
{
    const auto decoded =
        QByteArray::fromBase64Encoding(v.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!v.isString() || !decoded || decoded.decoded.isEmpty())
        fail(where, "must be a PNG picture in base64");
    const auto seen = pool.seen.constFind(decoded.decoded);
    if (seen != pool.seen.constEnd())
        return seen.value();
    png_picture picture;
    QSize size;
    const qint64 budget = pool.pixel_budget;
    switch (button_picture_from_png(decoded.decoded, picture, &size, &pool.pixel_budget)) {
    case png_check::ok:
        pool.seen.insert(picture.png(), picture);
        return picture;
    case png_check::not_png:
        fail(where, "the picture is not a PNG image");
    case png_check::damaged:
        fail(where, "the picture is cut short, damaged or followed by other bytes");
    case png_check::too_large:
        if (size.width() <= limits::max_button_picture_side && size.height() <= limits::max_button_picture_side
            && decoded.decoded.size() <= limits::max_record_field_bytes
            && qint64(size.width()) * size.height() > budget)
            fail(where, scene_budget_exceeded());
        fail(where, QString("the picture is %1 x %2 pixels and %3 bytes; a button's is at most %4 x %4 and %5 bytes")
                        .arg(size.width()).arg(size.height()).arg(decoded.decoded.size())
                        .arg(limits::max_button_picture_side).arg(limits::max_record_field_bytes));
    case png_check::undecodable:
        break;
    }
    fail(where, "the picture cannot be decoded");
}

buttonAttributes read_button(const QJsonValue& value, int index, picture_pool& pool)
{
    const QString where = QString("buttons[%1]").arg(index);
    if (!value.isObject())
        fail(where, "must be an object");
    const QJsonObject o = value.toObject();
    known_keys_only(o, {"x", "y", "width", "height", "size", "kind", "language", "color", "labelColor", "label",
                        "names", "script", "shape", "points", "widget", "ranges", "picture"},
                    where);
    buttonAttributes a;
    const qint32 c = limits::max_coordinate;
    a.pos = QPoint(read_int(o, "x", where, -c, c), read_int(o, "y", where, -c, c));
    a.width = read_int(o, "width", where, 0, limits::max_button_side);
    a.height = read_int(o, "height", where, 0, limits::max_button_side);
    a.size = o.contains("size") ? read_int(o, "size", where, 0, limits::max_button_side) : a.width;
    const QJsonValue kind = required(o, "kind", where);
    a.kind = kind == QLatin1String("command") ? command_kind
        : kind == QLatin1String("attribute") ? attribute_kind
                                            : selection_kind;
    if (a.kind == selection_kind && kind != QLatin1String("selection"))
        fail(at(where, "kind"), "must be \"selection\", \"command\" or \"attribute\"");
    a.language = read_choice(o, "language", where, "mel", "python") == "python" ? 1 : 0;
    a.color = read_colour(o, "color", where);
    a.labelColor = read_colour(o, "labelColor", where);
    a.label = read_text(o, "label", where);
    read_shape(o, where, a);
    if (o.contains("picture"))
        a.picture = read_button_picture(o.value("picture"), at(where, "picture"), pool);
    if (o.contains("script")) {
        if (a.kind != 1)
            fail(at(where, "script"), "only a command button has a script; a selection button has \"names\"");
        if (o.contains("names"))
            fail(where, "has both \"script\" and \"names\"; a command button has one of them");
        a.names = QStringList{read_text(o, "script", where)};
        if (!o.contains("shape"))
            a.shape = legacy_shape(a.kind, a.names.size(), a.label);
        return a;
    }
    const QJsonValue names = required(o, "names", where);
    const QString list_where = at(where, "names");
    if (!names.isArray())
        fail(list_where, "must be a list of strings");
    const QJsonArray list = names.toArray();
    if (list.isEmpty() || list.size() > limits::max_names)
        fail(list_where, QString("must hold 1 to %1 names").arg(limits::max_names));
    for (int i = 0; i < list.size(); ++i) {
        const QJsonValue name = list.at(i);
        if (!name.isString() && !name.isNull())
            fail(QString("%1[%2]").arg(list_where).arg(i), "must be a string or null");
        a.names << (name.isNull() ? QString() : (name.toString().isNull() ? QString("") : name.toString()));
    }
    read_widget(o, where, a);
    // JSON made before buttons had shapes means what its .pkr meant.
    if (!o.contains("shape"))
        a.shape = legacy_shape(a.kind, a.names.size(), a.label);
    return a;
}

void read_background(const QJsonValue& value, const QString& base_dir, picture_files pictures, pkr_header& h)
{
    if (!value.isObject())
        fail("background", value.isUndefined() ? "missing" : "must be an object");
    const QJsonObject background = value.toObject();
    known_keys_only(background, {"key", "width", "height", "file", "png"}, "background");
    // The size is written for people reading the JSON; the picture has its own.
    for (const char* side : {"width", "height"})
        if (background.contains(side))
            read_int(background, side, "background", 1, limits::max_image_side);
    if (background.contains("key"))
        h.backgroundKey = read_text(background, "key", "background");
    // The plug-in's own rule, so a file made here opens with its picture.
    if (!h.backgroundKey.isEmpty() && !is_background_key(h.backgroundKey))
        fail("background.key", "must be a whole number of 1 to 19 digits");
    const bool has_file = background.contains("file"), has_png = background.contains("png");
    if (has_file && has_png)
        fail("background", "has both \"file\" and \"png\"; a picture comes from one of them");
    if (!has_file && !has_png)
        return;
    if (h.backgroundKey.isEmpty())
        fail("background.key", "a picture needs a key");
    const char* key = has_png ? "png" : "file";
    const QJsonValue v = background.value(QLatin1String(key));
    if (!v.isString())
        fail(at("background", key), "must be a string");
    QByteArray png;
    if (has_png) {
        const auto decoded = QByteArray::fromBase64Encoding(v.toString().toLatin1(),
                                                            QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded || decoded.decoded.isEmpty())
            fail("background.png", "must be a PNG picture in base64");
        png = decoded.decoded;
    } else {
        png = read_picture_file(v.toString(), base_dir, pictures);
    }
    h.background = read_png(png, at("background", key));
}

} // namespace

bool parse_colour(const QString& text, quint32* colour)
{
    if (text.startsWith('#')) {
        const QStringView hex = QStringView(text).mid(1);
        if (hex.size() != 6 && hex.size() != 8)
            return false;
        for (const QChar c : hex)
            if (c.unicode() > 127 || !isxdigit(c.unicode()))
                return false;
        const quint32 value = hex.toUInt(nullptr, 16);
        *colour = hex.size() == 6 ? 0xff000000u | value : value;
        return true;
    }
    // Names only: QColor would also take #rgb and 12-digit forms, which the
    // plug-in's directives do not.
    for (const QChar c : text)
        if (c.unicode() > 127 || !isalpha(c.unicode()))
            return false;
    if (text.isEmpty() || !QColor::isValidColor(text))
        return false;
    *colour = QColor(text).rgba();
    return true;
}

QByteArray picture_png(const pkr_header& header)
{
    if (header.backgroundKey.isEmpty())
        return QByteArray();
    return header.background.png();
}

QByteArray to_json(const pkr_contents& picker, const QString& image_file)
{
    const pkr_header& header = picker.header;
    QJsonObject root;
    root.insert("format", QLatin1String(format_name));
    root.insert("formatVersion", format_version);
    root.insert("name", text_value(header.name));
    QJsonObject background;
    background.insert("key", text_value(header.backgroundKey));
    const QByteArray png = picture_png(header);
    if (!png.isEmpty()) {
        background.insert("width", header.background.width());
        background.insert("height", header.background.height());
        if (image_file.isEmpty())
            background.insert("png", QString::fromLatin1(png.toBase64()));
        else
            background.insert("file", image_file);
    }
    root.insert("background", background);
    if (!header.mirrorPatterns.isEmpty())
        root.insert("mirrorPatterns", QJsonArray::fromStringList(header.mirrorPatterns));
    QJsonArray buttons;
    for (const buttonAttributes& a : picker.buttons) {
        QJsonObject o;
        o.insert("x", a.pos.x());
        o.insert("y", a.pos.y());
        o.insert("width", a.width);
        o.insert("height", a.height);
        if (a.size != a.width)
            o.insert("size", a.size);
        o.insert("kind", a.kind == command_kind ? "command" : a.kind == attribute_kind ? "attribute" : "selection");
        o.insert("language", a.language == 1 ? "python" : "mel");
        o.insert("color", colour_text(a.color));
        o.insert("labelColor", colour_text(a.labelColor));
        o.insert("label", text_value(a.label));
        o.insert("shape", shape_name(a.shape));
        if (a.shape == qint32(button_shape::polygon)) {
            QJsonArray points;
            for (const QPoint& p : a.points)
                points.append(QJsonArray{p.x(), p.y()});
            o.insert("points", points);
        }
        if (a.kind == attribute_kind) {
            o.insert("widget", widget_name(a.widget));
            QJsonArray ranges;
            for (int i = 0; i < widget_plugs(a.widget); ++i)
                ranges.append(QJsonArray{a.minimum[i], a.maximum[i]});
            o.insert("ranges", ranges);
        }
        if (!a.picture.isNull())
            o.insert("picture", QString::fromLatin1(a.picture.png().toBase64()));
        if (a.kind == 1 && a.names.size() == 1) {
            o.insert("script", text_value(a.names.first()));
        } else {
            QJsonArray names;
            for (const QString& name : a.names)
                names.append(text_value(name));
            o.insert("names", names);
        }
        buttons.append(o);
    }
    root.insert("buttons", buttons);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool from_json(QByteArray json, const QString& base_dir, pkr_header& header,
               QList<buttonAttributes>& buttons, QString* error, picture_files pictures)
{
    try {
        if (json.size() > limits::max_file_bytes * 2)
            fail(QString(), "the text is too large to be a picker");
        QJsonParseError parse;
        const QJsonDocument doc = QJsonDocument::fromJson(json, &parse);
        json = QByteArray(); // parsed: the text need not stay beside the document
        if (doc.isNull())
            fail(QString(), QString("not JSON (%1 at byte %2)").arg(parse.errorString()).arg(parse.offset));
        if (!doc.isObject())
            fail(QString(), "not a picker: the text is not a JSON object");
        const QJsonObject root = doc.object();
        known_keys_only(root, {"format", "formatVersion", "name", "background", "mirrorPatterns", "buttons"},
                        QString());
        if (required(root, "format", QString()).toString() != QLatin1String(format_name))
            fail("format", QString("must be \"%1\": this is not a picker").arg(format_name));
        const int version = read_int(root, "formatVersion", QString(), 1, 1000);
        if (version > format_version)
            fail(QString(), QString("written by a newer version (format %1; this one reads %2)")
                                .arg(version).arg(format_version));
        pkr_header h;
        h.name = read_text(root, "name", QString());
        read_background(root.value("background"), base_dir, pictures, h);
        if (root.contains("mirrorPatterns"))
            h.mirrorPatterns = read_patterns(root.value("mirrorPatterns"));
        const QJsonValue list = required(root, "buttons", QString());
        if (!list.isArray())
            fail("buttons", "must be a list");
        const QJsonArray array = list.toArray();
        if (array.size() > limits::max_buttons)
            fail("buttons", QString("%1 buttons; a picker holds at most %2").arg(array.size()).arg(limits::max_buttons));
        QList<buttonAttributes> read;
        read.reserve(array.size());
        qint64 names = 0;
        // What the picker file will take, counted as the buttons are read, so
        // a picker too large for one is refused before it is made.
        qint64 bytes = 4 + 4 + 2 * qint64(h.name.size()) + 4 + 2 * qint64(h.backgroundKey.size())
                     + h.background.png().size() + 4;
        // The patterns' block: tag, one list, its count, the strings.
        if (!h.mirrorPatterns.isEmpty())
            bytes += 12;
        for (const QString& pattern : std::as_const(h.mirrorPatterns))
            bytes += 4 + 2 * qint64(pattern.size());
        picture_pool pool;
        pool.pixel_budget -= qint64(h.background.width()) * h.background.height();
        for (int i = 0; i < array.size(); ++i) {
            read.append(read_button(array.at(i), i, pool));
            // A file the picker would read only in part is not written at all.
            const buttonAttributes& a = read.last();
            names += a.names.size();
            if (names > limits::max_total_names)
                fail(QString(), QString("more than %1 names in all; a picker holds at most that many")
                                    .arg(limits::max_total_names));
            bytes += 52 + 2 * qint64(a.label.size()) + 8 * qint64(a.points.size());
            if (!a.picture.isNull())
                bytes += 8 + a.picture.png().size();
            for (const QString& name : a.names)
                bytes += 4 + 2 * qint64(name.size());
            if (bytes > limits::max_file_bytes)
                fail(QString(), QString("the picker would be larger than the %1 MB a picker file holds")
                                    .arg(limits::max_file_bytes >> 20));
        }
        header = h;
        buttons = read;
        return true;
    } catch (const bad_json& e) {
        if (error)
            *error = e.why;
        return false;
    }
}

} // namespace pkr_json
