#include "model/pkr_json.h"

#include "model/limits.h"
#include "model/safe_file.h"
#include "model/scene_data.h"
#include "model/side_patterns.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cmath>

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

QString read_text(const QJsonObject& o, const char* key, const QString& where, bool required = true)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined() && !required)
        return QString();
    if (v.isNull())
        return QString();
    if (!v.isString())
        fail(where, QString("\"%1\" must be a string or null").arg(key));
    // An empty JSON string is an empty, not a null, string.
    const QString s = v.toString();
    return s.isNull() ? QString("") : s;
}

qint32 read_int(const QJsonObject& o, const char* key, const QString& where, qint64 low, qint64 high)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (!v.isDouble())
        fail(where, QString("\"%1\" must be a number").arg(key));
    // Compared as a double before any conversion: converting NaN, an
    // infinity or anything beyond 64 bits to an integer is undefined.
    const double d = v.toDouble();
    if (!(d >= double(low) && d <= double(high)) || d != std::trunc(d))
        fail(where, QString("\"%1\" must be a whole number from %2 to %3").arg(key).arg(low).arg(high));
    return qint32(d);
}

quint32 read_colour(const QJsonObject& o, const char* key, const QString& where)
{
    const QString s = o.value(QLatin1String(key)).toString();
    bool ok = false;
    const quint32 c = s.mid(1).toUInt(&ok, 16);
    if (s.size() != 9 || !s.startsWith('#') || !ok)
        fail(where, QString("\"%1\" must be a colour written #aarrggbb").arg(key));
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
        fail("background", "\"file\" must name a picture");
    QString path = QDir(base_dir).filePath(name);
    if (pictures == picture_files::inside_base_dir) {
        if (QDir::isAbsolutePath(name))
            fail("background", QString("the picture \"%1\" must be named relative to the JSON's folder").arg(name));
        const QString folder = QFileInfo(base_dir).canonicalFilePath();
        const QString found = QFileInfo(path).canonicalFilePath();
        if (found.isEmpty())
            fail("background", QString("cannot read the picture \"%1\": it does not exist").arg(name));
        if (folder.isEmpty() || !found.startsWith(folder.endsWith('/') ? folder : folder + '/'))
            fail("background", QString("the picture \"%1\" is outside the JSON's folder").arg(name));
        path = found;
    }
    QFile file;
    QString why;
    if (open_regular_file(file, path, &why) != read_open::ok)
        fail("background", QString("cannot read the picture \"%1\": %2").arg(name, why));
    const QByteArray png = file.read(limits::max_image_bytes + 1);
    if (png.size() > limits::max_image_bytes)
        fail("background", QString("the picture is larger than %1 MB").arg(limits::max_image_bytes >> 20));
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

buttonAttributes read_button(const QJsonValue& value, int index)
{
    const QString where = QString("button %1").arg(index);
    if (!value.isObject())
        fail(where, "must be an object");
    const QJsonObject o = value.toObject();
    buttonAttributes a;
    const qint32 c = limits::max_coordinate;
    a.pos = QPoint(read_int(o, "x", where, -c, c), read_int(o, "y", where, -c, c));
    a.width = read_int(o, "width", where, 0, limits::max_button_side);
    a.height = read_int(o, "height", where, 0, limits::max_button_side);
    a.size = o.contains("size") ? read_int(o, "size", where, 0, limits::max_button_side) : a.width;
    const QString kind = o.value("kind").toString();
    if (kind != "selection" && kind != "command")
        fail(where, "\"kind\" must be \"selection\" or \"command\"");
    a.kind = kind == "command" ? 1 : 0;
    const QString language = o.value("language").toString();
    if (language != "mel" && language != "python")
        fail(where, "\"language\" must be \"mel\" or \"python\"");
    a.language = language == "python" ? 1 : 0;
    a.color = read_colour(o, "color", where);
    a.labelColor = read_colour(o, "labelColor", where);
    a.label = read_text(o, "label", where);
    if (a.kind == 1 && o.contains("script")) {
        a.names = QStringList{read_text(o, "script", where)};
    } else {
        const QJsonValue names = o.value("names");
        if (!names.isArray())
            fail(where, "\"names\" must be a list of strings");
        const QJsonArray list = names.toArray();
        if (list.isEmpty() || list.size() > limits::max_names)
            fail(where, QString("\"names\" must hold 1 to %1 names").arg(limits::max_names));
        for (const QJsonValue& name : list) {
            if (!name.isString() && !name.isNull())
                fail(where, "\"names\" must be a list of strings");
            a.names << (name.isNull() ? QString() : (name.toString().isNull() ? QString("") : name.toString()));
        }
    }
    return a;
}

} // namespace

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
        o.insert("kind", a.kind == 1 ? "command" : "selection");
        o.insert("language", a.language == 1 ? "python" : "mel");
        o.insert("color", colour_text(a.color));
        o.insert("labelColor", colour_text(a.labelColor));
        o.insert("label", text_value(a.label));
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
        if (root.value("format").toString() != QLatin1String(format_name))
            fail(QString(), QString("not a picker: \"format\" is not \"%1\"").arg(format_name));
        const int version = read_int(root, "formatVersion", QString(), 1, 1000);
        if (version > format_version)
            fail(QString(), QString("written by a newer version (format %1; this one reads %2)")
                                .arg(version).arg(format_version));
        pkr_header h;
        h.name = read_text(root, "name", QString());
        const QJsonValue bg = root.value("background");
        if (!bg.isObject())
            fail(QString(), "\"background\" must be an object");
        const QJsonObject background = bg.toObject();
        h.backgroundKey = read_text(background, "key", "background", false);
        if (!h.backgroundKey.isEmpty()) {
            // The plug-in's own rule, so a file made here opens with its picture.
            if (!is_background_key(h.backgroundKey))
                fail("background", "\"key\" must be a whole number of 1 to 19 digits");
            QByteArray png;
            if (background.contains("png"))
                png = QByteArray::fromBase64(background.value("png").toString().toLatin1());
            else if (background.contains("file"))
                png = read_picture_file(background.value("file").toString(), base_dir, pictures);
            if (!png.isEmpty())
                h.background = read_png(png, "background");
        }
        if (root.contains("mirrorPatterns"))
            h.mirrorPatterns = read_patterns(root.value("mirrorPatterns"));
        const QJsonValue list = root.value("buttons");
        if (!list.isArray())
            fail(QString(), "\"buttons\" must be a list");
        const QJsonArray array = list.toArray();
        if (array.size() > limits::max_buttons)
            fail(QString(), QString("%1 buttons; a picker holds at most %2").arg(array.size()).arg(limits::max_buttons));
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
        for (const QString& pattern : h.mirrorPatterns)
            bytes += 4 + 2 * qint64(pattern.size());
        for (int i = 0; i < array.size(); ++i) {
            read.append(read_button(array.at(i), i + 1));
            // A file the picker would read only in part is not written at all.
            const buttonAttributes& a = read.last();
            names += a.names.size();
            if (names > limits::max_total_names)
                fail(QString(), QString("more than %1 names in all; a picker holds at most that many")
                                    .arg(limits::max_total_names));
            bytes += 52 + 2 * qint64(a.label.size());
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
