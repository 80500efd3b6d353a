// Picker files as JSON and the quillmarsh-pkr tool: exact round trips,
// clear refusals of bad input, pictures read only from the JSON's folder, and
// nothing written when a command fails.
#include "button_values.h"
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/pkr_json.h"
#include "model/scene_data.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

#include <climits>
#include <cmath>

Q_DECLARE_METATYPE(buttonAttributes)

namespace {

// A picture that compresses like a painted one: a gradient with noise.
png_picture picture(int w, int h)
{
    QImage image(w, h, QImage::Format_RGB32);
    quint32 noise = 12345;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            noise = noise * 1103515245u + 12345u;
            const int n = int(noise >> 28);
            image.setPixel(x, y, qRgb((x * 255 / w + n) & 255, (y * 255 / h + n) & 255, 90 + n));
        }
    return png_picture::from_image(image);
}

QByteArray file_bytes(const QString& name, const QString& key, const png_picture& background,
                      const QList<buttonAttributes>& buttons)
{
    pkr_header header;
    header.name = name;
    header.backgroundKey = key;
    header.background = background;
    return write_pkr(header, buttons);
}

pkr_contents read_bytes(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    pkr_contents contents;
    QString why;
    if (!read_pkr(buffer, contents, &why))
        qWarning("not a picker: %s", qPrintable(why));
    return contents;
}

// The file made from the JSON of the file.
QByteArray through_json(const QByteArray& file, const QString& image_dir, bool embed)
{
    const pkr_contents contents = read_bytes(file);
    QString image_name;
    if (!embed && !contents.header.background.isNull()) {
        image_name = "picture.png";
        QFile png(QDir(image_dir).filePath(image_name));
        png.open(QIODevice::WriteOnly);
        png.write(pkr_json::picture_png(contents.header));
    }
    const QByteArray json = pkr_json::to_json(contents, image_name);
    pkr_header header;
    QList<buttonAttributes> buttons;
    QString why;
    if (!pkr_json::from_json(json, image_dir, header, buttons, &why))
        qWarning("JSON refused: %s", qPrintable(why));
    return write_pkr(header, buttons);
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray contents_of(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The part of JSON Schema that docs/pkr.schema.json uses. A keyword outside
// it is an error, so the schema cannot promise more than is checked here.
class schema_check {
public:
    explicit schema_check(const QJsonObject& root) : root(root) {}
    QStringList errors(const QJsonValue& value)
    {
        found.clear();
        check(root, value, "$");
        return found;
    }

private:
    QJsonObject root;
    QStringList found;

    static bool has_type(const QString& type, const QJsonValue& v)
    {
        if (type == "integer")
            return v.isDouble() && v.toDouble() == std::trunc(v.toDouble());
        return (type == "object" && v.isObject()) || (type == "array" && v.isArray())
            || (type == "string" && v.isString()) || (type == "null" && v.isNull())
            || (type == "number" && v.isDouble()) || (type == "boolean" && v.isBool());
    }
    bool valid(const QJsonValue& schema, const QJsonValue& v)
    {
        const QStringList outer = found;
        found.clear();
        check(schema, v, "$");
        const bool ok = found.isEmpty();
        found = outer;
        return ok;
    }
    void check(const QJsonValue& schema_value, const QJsonValue& v, const QString& at)
    {
        static const QStringList known{"$schema", "title", "description", "$defs", "$ref", "type", "const", "enum",
                                       "pattern", "minLength", "minimum", "maximum", "required", "properties",
                                       "additionalProperties", "items", "minItems", "maxItems", "not", "oneOf",
                                       "allOf"};
        const QJsonObject s = schema_value.toObject();
        for (const QString& key : s.keys())
            if (!known.contains(key))
                found << "the schema uses " + key;
        auto fail = [&](const QString& why) { found << at + ": " + why; };
        if (s.contains("$ref"))
            check(root["$defs"].toObject()[s["$ref"].toString().section('/', -1)], v, at);
        if (s.contains("type")) {
            const QJsonValue t = s["type"];
            bool ok = false;
            for (const QJsonValue& one : t.isArray() ? t.toArray() : QJsonArray{t})
                ok = ok || has_type(one.toString(), v);
            if (!ok)
                fail("type");
        }
        if (s.contains("const") && s["const"] != v)
            fail("const");
        if (s.contains("enum") && !s["enum"].toArray().contains(v))
            fail("enum");
        if (v.isString() && s.contains("pattern")
            && !QRegularExpression(s["pattern"].toString()).match(v.toString()).hasMatch())
            fail("pattern");
        if (v.isString() && v.toString().size() < s["minLength"].toInt(0))
            fail("minLength");
        if (v.isDouble() && s.contains("minimum") && v.toDouble() < s["minimum"].toDouble())
            fail("minimum");
        if (v.isDouble() && s.contains("maximum") && v.toDouble() > s["maximum"].toDouble())
            fail("maximum");
        if (v.isObject()) {
            const QJsonObject o = v.toObject(), properties = s["properties"].toObject();
            for (const QJsonValue& key : s["required"].toArray())
                if (!o.contains(key.toString()))
                    fail("required " + key.toString());
            for (auto it = o.begin(); it != o.end(); ++it) {
                if (properties.contains(it.key()))
                    check(properties[it.key()], it.value(), at + '.' + it.key());
                else if (s["additionalProperties"] == QJsonValue(false))
                    fail("additional " + it.key());
            }
        }
        if (v.isArray()) {
            const QJsonArray a = v.toArray();
            if (a.size() < s["minItems"].toInt(0) || a.size() > s["maxItems"].toInt(INT_MAX))
                fail("items count");
            if (s.contains("items"))
                for (int i = 0; i < a.size(); ++i)
                    check(s["items"], a[i], QString("%1[%2]").arg(at).arg(i));
        }
        if (s.contains("not") && valid(s["not"], v))
            fail("not");
        for (const QJsonValue& each : s["allOf"].toArray())
            if (!valid(each, v))
                fail("allOf");
        if (s.contains("oneOf")) {
            int matched = 0;
            for (const QJsonValue& one : s["oneOf"].toArray())
                matched += valid(one, v);
            if (matched != 1)
                fail("oneOf");
        }
    }
};

QJsonObject json_file(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).object();
}

const QStringList two{"hero:L_arm_ctrl", "hero:L_hand_ctrl"};

} // namespace

class test_pkr_tool : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    struct result {
        int status = -1;
        QByteArray out, err;
    };
    // Runs the tool in `folder` (this test's folder when empty), with
    // `input` on its standard input.
    static result run(const QStringList& args, const QByteArray& input = QByteArray(),
                      const QString& folder = QString())
    {
        QProcess p;
        p.setWorkingDirectory(folder);
        p.start(PKR_TOOL, args);
        p.write(input);
        p.closeWriteChannel();
        result r;
        if (!p.waitForFinished(60000))
            return r;
        r.out = p.readAllStandardOutput();
        r.err = p.readAllStandardError();
        r.status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        return r;
    }
    // Runs the tool; its exit status, with what it printed in *out.
    int tool(const QStringList& args, QString* out = nullptr)
    {
        const result r = run(args, QByteArray(), dir.path());
        if (out)
            *out = QString::fromUtf8(r.out + r.err);
        return r.status;
    }

private slots:
    void json_gives_back_the_same_file_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<bool>("embed");
        const QList<buttonAttributes> usual{
            button({10, 20}, 12, 12, 0, 0, 0xffb22222, 0x000000, "L", two),
            button({-5, 300}, 40, 16, 1, 1, 0xff00ff00, 0xffffff, "Reset", {"import maya.cmds as cmds\ncmds.select(cl=True)"}),
            button({0, 0}, 8, 30, 1, 0, 0x12345678, 0xfedcba98, QString(), {"select -cl;", "second line"}),
            button({999999, -999999}, 0, 100000, 0, 0, 0, 0, "", {QString(), "", "ünïcode:名前"})};
        QTest::newRow("no picture") << file_bytes("body", QString(), png_picture(), usual) << false;
        QTest::newRow("picture beside") << file_bytes("face", "4711", picture(64, 48), usual) << false;
        QTest::newRow("picture embedded") << file_bytes("face", "4711", picture(64, 48), usual) << true;
        QTest::newRow("no buttons, null name") << file_bytes(QString(), QString(), png_picture(), {}) << false;
        buttonAttributes odd = usual[0];
        odd.size = 7; // the legacy size apart from the width
        QTest::newRow("legacy size") << file_bytes("odd", QString(), png_picture(), {odd}) << false;
        pkr_header sided;
        sided.name = "sided";
        sided.mirrorPatterns = QStringList{"lf_", "rt_", "Left", "Right"};
        QTest::newRow("side patterns") << write_pkr(sided, usual) << false;
        QList<buttonAttributes> shaped = usual;
        shaped[0].shape = qint32(button_shape::polygon);
        shaped[0].points = {{-2000000, 3}, {2000000, -4}, {0, 2000000}, {5, 5}};
        shaped[1].shape = qint32(button_shape::ellipse);
        shaped[2].shape = qint32(button_shape::rectangle);
        QTest::newRow("every shape") << file_bytes("shapes", QString(), png_picture(), shaped) << false;
        QList<buttonAttributes> widgets = usual;
        for (int w = 0; w < attribute_widget_count; ++w) {
            buttonAttributes a = button({40 * w, 9}, 120, 20, attribute_kind, 0, 0xff3a3f44, 0xe6e6e6, "jaw",
                                        {"hero:face.jawOpen"});
            a.widget = w;
            a.minimum[0] = -0.1 * (w + 1);
            a.maximum[0] = 1e15;
            if (w == qint32(attribute_widget::slider2d)) {
                a.names << "hero:L_eye.aim[2]";
                a.minimum[1] = -1e15;
                a.maximum[1] = 1.0 / 3;
            }
            widgets << a;
        }
        QTest::newRow("attribute widgets") << file_bytes("face", QString(), png_picture(), widgets) << false;
        // Equal pictures on two buttons, beside a background.
        QList<buttonAttributes> pictured = shaped;
        pictured[0].picture = pictured[3].picture = picture(20, 12);
        pictured[1].picture = picture(7, 9);
        QTest::newRow("button pictures") << file_bytes("icons", "4711", picture(64, 48), pictured) << false;
    }
    void json_gives_back_the_same_file()
    {
        QFETCH(QByteArray, file);
        QFETCH(bool, embed);
        QTemporaryDir images;
        QCOMPARE(through_json(file, images.path(), embed), file);
    }

    void json_is_stable_and_readable()
    {
        const QByteArray file = file_bytes("body", "12", picture(8, 8), {button({1, 2}, 12, 14, 0, 0, 0xffb22222, 0,
                                                                               "Arm", two)});
        const pkr_contents contents = read_bytes(file);
        const QByteArray json = pkr_json::to_json(contents, "body.png");
        QCOMPARE(pkr_json::to_json(read_bytes(file), "body.png"), json);
        // One value a line, keys in a fixed order: a diff shows what changed.
        for (const char* line : {"\"format\": \"quillmarsh-picker\"", "\"x\": 1,", "\"y\": 2", "\"width\": 12,",
                                 "\"height\": 14,", "\"color\": \"#ffb22222\",", "\"kind\": \"selection\",",
                                 "\"file\": \"body.png\"", "\"hero:L_arm_ctrl\","})
            QVERIFY2(json.contains(line), line);
        QVERIFY(!json.contains("\"size\""));
    }

    void bad_json_is_refused_with_the_reason_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("reason");
        const QByteArray good = pkr_json::to_json(
            read_bytes(file_bytes("b", QString(), png_picture(),
                                  {button({1, 2}, 12, 12, 0, 0, 0xff000000, 0, "A", two)})),
            QString());
        auto with = [&good](const char* from, const char* to) {
            QByteArray j = good;
            return j.replace(from, to);
        };
        QTest::newRow("not JSON") << QByteArray("{\"format\": ") << "not JSON";
        QTest::newRow("another format") << with("quillmarsh-picker", "other") << "format: must be \"quillmarsh-picker\"";
        QTest::newRow("newer") << with("\"formatVersion\": 1", "\"formatVersion\": 9") << "newer version";
        QTest::newRow("colour, 7 digits") << with("#ff000000", "#ff00000") << "buttons[0].color: must be a colour";
        QTest::newRow("colour, unknown name") << with("#ff000000", "reddish") << "buttons[0].color: must be a colour";
        QTest::newRow("colour, a number") << with("\"#ff000000\"", "4278190080") << "buttons[0].color: must be a colour";
        // A typo or a wrong type is named by its JSON path, never dropped.
        QTest::newRow("unknown button key") << with("\"color\"", "\"colour\"") << "buttons[0].colour: unknown key";
        QTest::newRow("unknown top key") << with("\"name\"", "\"title\"") << "title: unknown key";
        QTest::newRow("unknown picture key") << with("\"key\": null", "\"key\": null, \"path\": \"a.png\"")
                                             << "background.path: unknown key";
        QTest::newRow("missing key") << with("\"x\": 1,", "") << "buttons[0].x: missing";
        QTest::newRow("label a number") << with("\"label\": \"A\"", "\"label\": 5") << "buttons[0].label: must be a string";
        QTest::newRow("name an object") << with("\"name\": \"b\"", "\"name\": {}") << "name: must be a string";
        QTest::newRow("a name a number") << with("\"hero:L_hand_ctrl\"", "7") << "buttons[0].names[1]: must be a string";
        QTest::newRow("kind a number") << with("\"selection\"", "0") << "buttons[0].kind: must be";
        const QByteArray slider = with("\"kind\": \"selection\"",
                                       "\"kind\": \"attribute\", \"widget\": \"slider\", \"ranges\": [[0, 1]]");
        const auto attribute = [&slider](const char* from, const char* to) {
            QByteArray j = slider;
            return j.replace(from, to);
        };
        QTest::newRow("two names for a slider") << slider << "buttons[0].names: must hold one attribute";
        QTest::newRow("widget without attribute") << with("\"label\": \"A\"", "\"label\": \"A\", \"widget\": \"slider\"")
                                                  << "buttons[0].widget: only an attribute button";
        const QByteArray one_plug = attribute("\"hero:L_arm_ctrl\",", "").replace("hero:L_hand_ctrl", "hero:face.jaw");
        QTest::newRow("a name, not a plug") << attribute("\"hero:L_arm_ctrl\",", "")
                                             << "buttons[0].names[0]: must be an attribute";
        QTest::newRow("empty range") << QByteArray(one_plug).replace("[[0, 1]]", "[[1, 1]]")
                                     << "buttons[0].ranges[0]: must be [minimum, maximum]";
        QTest::newRow("range a word") << QByteArray(one_plug).replace("[[0, 1]]", "[[0, \"1\"]]")
                                      << "buttons[0].ranges[0]: must be [minimum, maximum]";
        QTest::newRow("no widget") << QByteArray(one_plug).replace("\"widget\": \"slider\", ", "")
                                   << "buttons[0].widget: missing";
        QTest::newRow("script on a selection") << with("\"label\": \"A\"", "\"label\": \"A\", \"script\": \"ls\"")
                                               << "buttons[0].script: only a command button";
        QTest::newRow("picture not base64") << with("\"key\": null", "\"key\": \"5\", \"png\": \"@@@\"")
                                            << "background.png: must be a PNG picture in base64";
        QTest::newRow("picture without a key") << with("\"key\": null", "\"png\": \"aGVsbG8=\"")
                                               << "background.key: a picture needs a key";
        QTest::newRow("coordinate fraction") << with("\"x\": 1", "\"x\": 1.5") << "whole number";
        QTest::newRow("coordinate far") << with("\"x\": 1", "\"x\": 1e12") << "whole number";
        // Beyond what any 64-bit integer holds: refused before any conversion.
        QTest::newRow("coordinate 2^63") << with("\"x\": 1", "\"x\": 9223372036854775808") << "from -1000000 to 1000000";
        QTest::newRow("coordinate -1e19") << with("\"x\": 1", "\"x\": -1e19") << "from -1000000 to 1000000";
        QTest::newRow("version 1e308") << with("\"formatVersion\": 1", "\"formatVersion\": 1e308")
                                       << "formatVersion: must be a whole number from 1 to 1000";
        QTest::newRow("no names") << with("\"hero:L_arm_ctrl\",", "").replace("\"hero:L_hand_ctrl\"", "")
                                  << "buttons[0].names: must hold";
        QTest::newRow("hostile key") << with("\"key\": null", "\"key\": \"1;system\"") << "1 to 19 digits";
        QTest::newRow("shape unknown") << with("\"shape\": \"rounded\"", "\"shape\": \"star\"")
                                       << "buttons[0].shape: must be \"rectangle\", \"rounded\"";
        QTest::newRow("shape a number") << with("\"shape\": \"rounded\"", "\"shape\": 3") << "buttons[0].shape: must be";
        QTest::newRow("polygon without points") << with("\"shape\": \"rounded\"", "\"shape\": \"polygon\"")
                                                << "buttons[0].points: missing";
        QTest::newRow("points without a polygon")
            << with("\"shape\": \"rounded\"", "\"shape\": \"ellipse\", \"points\": [[0, 0], [1, 0], [0, 1]]")
            << "buttons[0].points: only a polygon has points";
        QTest::newRow("polygon of two points")
            << with("\"shape\": \"rounded\"", "\"shape\": \"polygon\", \"points\": [[0, 0], [1, 0]]")
            << "buttons[0].points: must be a list of 3 to 1024 points";
        QTest::newRow("polygon point far")
            << with("\"shape\": \"rounded\"", "\"shape\": \"polygon\", \"points\": [[0, 0], [2000001, 0], [0, 1]]")
            << "buttons[0].points[1][0]: must be a whole number from -2000000 to 2000000";
        QTest::newRow("polygon point of three numbers")
            << with("\"shape\": \"rounded\"", "\"shape\": \"polygon\", \"points\": [[0, 0], [1, 0], [0, 1, 2]]")
            << "buttons[0].points[2]: must be a pair [x, y]";
        QTest::newRow("missing picture") << with("\"key\": null", "\"key\": \"5\", \"file\": \"gone.png\"")
                                         << "cannot read the picture";
        QTest::newRow("picture not PNG") << with("\"key\": null", "\"key\": \"5\", \"png\": \"aGVsbG8=\"")
                                         << "not a PNG";
        const auto button_picture = [&with](const QByteArray& value) {
            return with("\"shape\": \"rounded\"", "\"shape\": \"rounded\", \"picture\": " + value);
        };
        const QByteArray png = picture(8, 8).png();
        QTest::newRow("button picture") << button_picture("\"" + png.toBase64() + "\"") << QString();
        QTest::newRow("button picture a number") << button_picture("7")
                                                 << "buttons[0].picture: must be a PNG picture in base64";
        QTest::newRow("button picture not base64") << button_picture("\"@@@\"")
                                                   << "buttons[0].picture: must be a PNG picture in base64";
        QTest::newRow("button picture not PNG") << button_picture("\"aGVsbG8=\"")
                                                << "buttons[0].picture: the picture is not a PNG image";
        QTest::newRow("button picture cut short") << button_picture("\"" + png.left(png.size() - 4).toBase64() + "\"")
                                                  << "buttons[0].picture: the picture is cut short";
        QTest::newRow("button picture too wide") << button_picture("\"" + picture(1025, 1).png().toBase64() + "\"")
                                                 << "buttons[0].picture: the picture is 1025 x 1 pixels";
        // More names in all than a picker file is read with.
        QByteArray names = "\"a\"";
        for (int i = 1; i < limits::max_names; ++i)
            names += ",\"a\"";
        const QByteArray one = "{\"color\": \"#ff000000\", \"height\": 12, \"kind\": \"selection\", \"label\": \"\", "
                               "\"labelColor\": \"#00000000\", \"language\": \"mel\", \"names\": [" + names
                             + "], \"width\": 12, \"x\": 1, \"y\": 2}";
        const int at = good.indexOf("\"buttons\": [") + 12;
        QByteArray many = good.left(at);
        for (int b = 0; b <= limits::max_total_names / limits::max_names; ++b)
            many += (b ? "," : "") + one;
        many += good.mid(good.indexOf("\n    ]", at));
        QTest::newRow("names in all") << many << "names in all";
    }
    void bad_json_is_refused_with_the_reason()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, reason);
        pkr_header header;
        header.name = "kept";
        QList<buttonAttributes> buttons;
        QString why;
        // The good form of what the rows break reads (its picture whole).
        if (reason.isEmpty()) {
            QVERIFY2(pkr_json::from_json(json, dir.path(), header, buttons, &why), qPrintable(why));
            QCOMPARE(buttons.value(0).picture.size(), QSize(8, 8));
            return;
        }
        QVERIFY(!pkr_json::from_json(json, dir.path(), header, buttons, &why));
        QVERIFY2(why.contains(reason), qPrintable(why));
        QCOMPARE(header.name, QString("kept"));
        QVERIFY(buttons.isEmpty());
    }

    // JSON made before buttons had shapes reads as its .pkr did: the shape
    // each button was drawn with.
    void json_without_shapes_reads_as_drawn_before()
    {
        const QList<buttonAttributes> made{button({1, 2}, 12, 12, 0, 0, 0xff000000, 0, "A", two),
                                           button({9, 2}, 12, 12, 0, 0, 0xff000000, 0, "", two),
                                           button({1, 9}, 12, 12, 1, 0, 0xff000000, 0, "", {"ls"})};
        QByteArray json = pkr_json::to_json(read_bytes(file_bytes("b", QString(), png_picture(), made)), QString());
        for (const char* shape : {"\"shape\": \"rounded\",", "\"shape\": \"ellipse\","})
            json.replace(shape, "");
        QVERIFY(!json.contains("\"shape\""));
        pkr_header header;
        QList<buttonAttributes> buttons;
        QString why;
        QVERIFY2(pkr_json::from_json(json, dir.path(), header, buttons, &why), qPrintable(why));
        QCOMPARE(buttons, made);
        QCOMPARE(buttons[1].shape, qint32(button_shape::ellipse));
    }

    void background_keys_are_the_plugins_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("taken");
        QTest::newRow("number") << "4711" << true;
        QTest::newRow("negative") << "-4711" << true;
        QTest::newRow("minus zero") << "-0" << true;
        QTest::newRow("19 digits") << "9223372036854775807" << true;
        QTest::newRow("20 digits") << "12345678901234567890" << false;
        QTest::newRow("full-width digits") << QString::fromUtf8("\xef\xbc\x94\xef\xbc\x92") << false;
        QTest::newRow("Arabic-Indic digits") << QString::fromUtf8("\xd9\xa4\xd9\xa2") << false;
        QTest::newRow("plus sign") << "+5" << false;
    }
    void background_keys_are_the_plugins()
    {
        // A key the JSON reader takes is one the plug-in takes, and no other,
        // so a file made from JSON opens with its picture.
        QFETCH(QString, key);
        QFETCH(bool, taken);
        QCOMPARE(is_background_key(key), taken);
        pkr_header header;
        header.name = "k";
        header.backgroundKey = "1";
        header.background = picture(4, 4);
        pkr_contents contents;
        contents.header = header;
        QByteArray json = pkr_json::to_json(contents, QString());
        json.replace("\"key\": \"1\"", QString("\"key\": \"%1\"").arg(key).toUtf8());
        QList<buttonAttributes> buttons;
        QString why;
        QCOMPARE(pkr_json::from_json(json, dir.path(), header, buttons, &why), taken);
        if (taken)
            QCOMPARE(header.backgroundKey, key);
    }

    // The picker would not take patterns that make no pairs: neither does the JSON.
    void json_side_patterns_must_make_pairs()
    {
        pkr_contents contents;
        contents.header.mirrorPatterns = QStringList{"lf_", "rt_"};
        const QByteArray json = pkr_json::to_json(contents, QString());
        pkr_header header;
        QList<buttonAttributes> buttons;
        QString why;
        for (const char* bad : {"[\"lf_\"]", "[]", "\"lf_ rt_\"", "[\"lf_\", 7]", "[\"lf:\", \"rt_\"]"}) {
            const int at = json.indexOf("\"mirrorPatterns\": ") + 18;
            const QByteArray broken = json.left(at) + bad + json.mid(json.indexOf(']', at) + 1);
            QVERIFY2(!pkr_json::from_json(broken, dir.path(), header, buttons, &why), bad);
            QVERIFY2(why.startsWith("mirrorPatterns: "), qPrintable(why));
        }
        QVERIFY(pkr_json::from_json(json, dir.path(), header, buttons, &why));
        QCOMPARE(header.mirrorPatterns, (QStringList{"lf_", "rt_"}));
    }

    void tool_reads_pictures_only_beside_the_json_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("outside");
        QTest::addColumn<QString>("says"); // empty: the picker file is made
        QTest::newRow("beside") << "face.png" << false << QString();
        QTest::newRow("down and up again") << "sub/../face.png" << false << QString();
        QTest::newRow("link staying inside") << "inner.png" << false << QString();
        QTest::newRow("parent folder") << "../outer.png" << false << "\"../outer.png\" is outside the JSON's folder";
        QTest::newRow("link leading out") << "leak.png" << false << "\"leak.png\" is outside the JSON's folder";
        QTest::newRow("absolute") << "@/outer.png" << false << "must be named relative to the JSON's folder";
        QTest::newRow("parent folder, allowed") << "../outer.png" << true << QString();
        QTest::newRow("absolute, allowed") << "@/outer.png" << true << QString();
        QTest::newRow("FIFO") << "pipe.png" << false << "\"pipe.png\": it is a pipe, not a file";
        QTest::newRow("device, allowed") << "/dev/zero" << true << "\"/dev/zero\": it is a device, not a file";
    }
    void tool_reads_pictures_only_beside_the_json()
    {
        QFETCH(QString, file);
        QFETCH(bool, outside);
        QFETCH(QString, says);
        QTemporaryDir place;
        const QDir root(place.path());
        QVERIFY(root.mkpath("json/sub"));
        const QByteArray png = picture(8, 8).png();
        write(root.filePath("outer.png"), png);
        write(root.filePath("json/face.png"), png);
        QVERIFY(QFile::link("face.png", root.filePath("json/inner.png")));
        QVERIFY(QFile::link("../outer.png", root.filePath("json/leak.png")));
        QCOMPARE(::mkfifo(QFile::encodeName(root.filePath("json/pipe.png")).constData(), 0600), 0);
        pkr_contents contents;
        contents.header.name = "p";
        contents.header.backgroundKey = "12";
        contents.header.background = png_picture::decode(png);
        write(root.filePath("json/p.json"), pkr_json::to_json(contents, file.replace("@", place.path())));

        QStringList args{"from-json", root.filePath("json/p.json")};
        if (outside)
            args << "--allow-outside-paths";
        QString out;
        QCOMPARE(tool(args, &out), says.isEmpty() ? 0 : 1);
        QVERIFY2(out.contains(says), qPrintable(out));
        QCOMPARE(QFile::exists(root.filePath("json/p.pkr")), says.isEmpty());
        if (says.isEmpty())
            QCOMPARE(read_bytes(contents_of(root.filePath("json/p.pkr"))).header.background.png(), png);
    }

    void tool_converts_both_ways()
    {
        const QByteArray file = file_bytes("face", "77", picture(32, 32), {button({1, 2}, 12, 12, 0, 0, 0xff0000ff, 0,
                                                                                 "A", two)});
        const QString pkr = dir.filePath("face.pkr");
        write(pkr, file);
        QCOMPARE(tool({"to-json", pkr}), 0);
        QVERIFY(QFile::exists(dir.filePath("face.png")));
        QVERIFY(contents_of(dir.filePath("face.json")).contains("\"file\": \"face.png\""));
        QCOMPARE(tool({"from-json", dir.filePath("face.json"), "-o", dir.filePath("again.pkr")}), 0);
        QCOMPARE(contents_of(dir.filePath("again.pkr")), file);
        QCOMPARE(tool({"to-json", pkr, "--embed", "-o", dir.filePath("embedded.json")}), 0);
        QVERIFY(contents_of(dir.filePath("embedded.json")).contains("\"png\": \""));
        QCOMPARE(tool({"from-json", dir.filePath("embedded.json")}), 0);
        QCOMPARE(contents_of(dir.filePath("embedded.pkr")), file);
    }

    void tool_info_rebind_and_preview()
    {
        const QByteArray file = file_bytes("hero", "5", picture(200, 100),
                                           {button({50, 50}, 20, 20, 0, 0, 0xffff0000, 0, "L", two),
                                            button({150, 50}, 20, 20, 1, 0, 0xff00ff00, 0, "Go",
                                                   {"select -r hero:L_arm_ctrl;"})});
        const QString pkr = dir.filePath("hero.pkr");
        write(pkr, file);
        QString out;
        QCOMPARE(tool({"info", pkr}, &out), 0);
        for (const char* line : {"name: hero", "picture: 200 x 100", "buttons: 2 (1 selection, 1 command, 0 attribute)",
                                 "namespaces: hero"})
            QVERIFY2(out.contains(line), qPrintable(out));

        QCOMPARE(tool({"rebind", pkr, "hero=villain", "-o", dir.filePath("villain.pkr")}), 0);
        const pkr_contents moved = read_bytes(contents_of(dir.filePath("villain.pkr")));
        QCOMPARE(moved.buttons[0].names, (QStringList{"villain:L_arm_ctrl", "villain:L_hand_ctrl"}));
        QCOMPARE(moved.buttons[1].names, QStringList{"select -r villain:L_arm_ctrl;"});
        QCOMPARE(contents_of(pkr), file);

        QCOMPARE(tool({"preview", pkr, "-o", dir.filePath("hero.png"), "--size", "300x200"}), 0);
        const QImage shot(dir.filePath("hero.png"));
        QCOMPARE(shot.size(), QSize(300, 200));
        // The red selection button is painted, framed with the picture.
        int red = 0;
        for (int y = 0; y < shot.height(); ++y)
            for (int x = 0; x < shot.width(); ++x)
                red += shot.pixel(x, y) == qRgb(255, 0, 0);
        QVERIFY(red > 100);
    }

    void tool_failures_write_nothing_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("says");
        QTest::newRow("no command") << QStringList{} << 2 << "usage";
        QTest::newRow("missing file") << QStringList{"to-json", "@/gone.pkr"} << 1 << "cannot open";
        QTest::newRow("not a picker") << QStringList{"to-json", "@/text.pkr"} << 1 << "not a picker";
        QTest::newRow("damaged to JSON") << QStringList{"to-json", "@/cut.pkr"} << 1 << "damaged: 1 of 2";
        QTest::newRow("check damaged") << QStringList{"check", "@/good.pkr", "@/cut.pkr"} << 1 << "good.pkr: ok";
        QTest::newRow("bad pair") << QStringList{"rebind", "@/good.pkr", "a;b=c"} << 2 << "OLD=NEW";
        QTest::newRow("bad size") << QStringList{"preview", "@/good.pkr", "-o", "@/x.png", "--size", "9x"} << 2
                                  << "--size";
        QTest::newRow("option missing value") << QStringList{"to-json", "@/good.pkr", "-o"} << 2 << "needs a value";
        QTest::newRow("bad JSON") << QStringList{"from-json", "@/bad.json", "-o", "@/out.pkr"} << 1 << "not JSON";
        QTest::newRow("JSON from a FIFO") << QStringList{"from-json", "@/pipe.json", "-o", "@/out.pkr"} << 1
                                          << "cannot open \"@/pipe.json\": it is a pipe, not a file";
        QTest::newRow("picker from a device") << QStringList{"info", "/dev/zero"} << 1
                                              << "cannot open \"/dev/zero\": it is a device, not a file";
        QTest::newRow("rebind of an unused namespace") << QStringList{"rebind", "@/good.pkr", "typo=foo", "-o", "@/o.pkr"}
                                                       << 1 << "does not use the namespace \"typo\"";
        QTest::newRow("rebind over its file") << QStringList{"rebind", "@/good.pkr", "hero=foo"} << 1 << "--force";
        QTest::newRow("JSON over a file") << QStringList{"to-json", "@/good.pkr", "-o", "@/bad.json"} << 1
                                          << "\"@/bad.json\" exists; give --force";
        QTest::newRow("picture over a file") << QStringList{"to-json", "@/face.pkr", "-o", "@/text.json"} << 1
                                             << "\"@/text.png\" exists; give --force";
        QTest::newRow("preview over a file") << QStringList{"preview", "@/good.pkr", "-o", "@/text.pkr"} << 1
                                             << "exists; give --force";
        QTest::newRow("check unreadable") << QStringList{"check", "@/good.pkr", "@/text.pkr"} << 2 << "not a picker";
        QTest::newRow("diff unreadable") << QStringList{"diff", "@/good.pkr", "@/gone.pkr"} << 2 << "cannot open";
        QTest::newRow("stdin twice") << QStringList{"diff", "-", "-"} << 2 << "only once";
        QTest::newRow("picker past a file's size") << QStringList{"from-json", "@/huge.json", "-o", "@/out.pkr"} << 1
                                                   << "larger than the 64 MB a picker file holds";
    }
    void tool_failures_write_nothing()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QString, says);
        QTemporaryDir place;
        const QByteArray good = file_bytes("g", QString(), png_picture(),
                                           {button({1, 1}, 9, 9, 0, 0, 0xff000000, 0, "a", two),
                                            button({9, 9}, 9, 9, 0, 0, 0xff000000, 0, "b", two)});
        write(place.filePath("good.pkr"), good);
        write(place.filePath("cut.pkr"), good.left(good.size() - 20));
        write(place.filePath("text.pkr"), "just some text\n");
        write(place.filePath("text.png"), "a picture made by someone else");
        write(place.filePath("face.pkr"), file_bytes("f", "3", picture(8, 8), {}));
        write(place.filePath("bad.json"), "{\"format\":");
        QCOMPARE(::mkfifo(QFile::encodeName(place.filePath("pipe.json")).constData(), 0600), 0);
        if (args.join(' ').contains("huge.json")) { // a label of 40 million characters
            QByteArray json = pkr_json::to_json(read_bytes(good), QString());
            json.replace("\"label\": \"a\"", "\"label\": \"" + QByteArray(40 << 20, 'x') + "\"");
            write(place.filePath("huge.json"), json);
        }
        for (QString& arg : args)
            arg.replace("@", place.path());
        says.replace("@", place.path());
        const QStringList before = QDir(place.path()).entryList(QDir::Files);
        QString out;
        QCOMPARE(tool(args, &out), status);
        QVERIFY2(out.contains(says), qPrintable(out));
        QCOMPARE(QDir(place.path()).entryList(QDir::Files), before);
    }

    void colours_take_every_documented_form_data()
    {
        QTest::addColumn<QString>("written");
        QTest::addColumn<quint32>("colour");
        QTest::newRow("#rrggbb is opaque") << "#112233" << 0xff112233u;
        QTest::newRow("#aarrggbb") << "#80112233" << 0x80112233u;
        QTest::newRow("name") << "red" << 0xffff0000u;
        QTest::newRow("name, any case") << "DarkBlue" << 0xff00008bu;
        QTest::newRow("transparent") << "transparent" << 0u;
    }
    void colours_take_every_documented_form()
    {
        QFETCH(QString, written);
        QFETCH(quint32, colour);
        pkr_contents contents = read_bytes(file_bytes("c", QString(), png_picture(),
                                                      {button({1, 2}, 9, 9, 0, 0, 0xff000000, 0, "A", two)}));
        QByteArray json = pkr_json::to_json(contents, QString());
        json.replace("\"#ff000000\"", '"' + written.toUtf8() + '"');
        pkr_header header;
        QList<buttonAttributes> buttons;
        QString why;
        QVERIFY2(pkr_json::from_json(json, dir.path(), header, buttons, &why), qPrintable(why));
        QCOMPARE(buttons[0].color, colour);
        // Written back one way only.
        contents.buttons = QVector<buttonAttributes>(buttons.begin(), buttons.end());
        QVERIFY(pkr_json::to_json(contents, QString())
                    .contains(QString("\"color\": \"#%1\"").arg(colour, 8, 16, QLatin1Char('0')).toUtf8()));
    }

    void schema_holds_every_example()
    {
        const QJsonObject schema = json_file(SOURCE_DIR "/docs/pkr.schema.json");
        QVERIFY(!schema.isEmpty());
        schema_check check(schema);
        const QDir examples(SOURCE_DIR "/examples/pickers");
        const QStringList names = examples.entryList({"*.json"});
        QVERIFY(names.size() >= 2);
        QList<QPair<QString, QJsonObject>> all;
        for (const QString& name : names)
            all.append({name, json_file(examples.filePath(name))});
        // And what the tool writes for every kind of button and picture.
        buttonAttributes legacy = button({0, 0}, 8, 30, 0, 0, 0x12345678, 0, QString(), {QString(), "a:b"});
        legacy.size = 3;
        const pkr_contents made = read_bytes(file_bytes(
            QString(), "-12", picture(4, 4),
            {legacy, button({-5, 300}, 40, 16, 1, 1, 0xff00ff00, 0xffffff, "Go", {"import maya.cmds"}),
             button({5, 5}, 4, 4, 1, 0, 0, 0, "", {"select -cl;", "print 1;"})}));
        all.append({"embedded", QJsonDocument::fromJson(pkr_json::to_json(made, QString())).object()});
        all.append({"beside", QJsonDocument::fromJson(pkr_json::to_json(made, "p.png")).object()});
        for (const auto& one : all) {
            const QStringList errors = check.errors(one.second);
            QVERIFY2(errors.isEmpty(), qPrintable(one.first + ": " + errors.join("; ")));
        }
        // What the reader refuses, the schema refuses too.
        QJsonObject typo = all.first().second;
        QJsonArray buttons = typo["buttons"].toArray();
        QJsonObject first = buttons[0].toObject();
        first.insert("colour", "red");
        buttons[0] = first;
        typo["buttons"] = buttons;
        QVERIFY(!check.errors(typo).isEmpty());
        first.remove("colour");
        first.insert("script", "ls");
        buttons[0] = first;
        typo["buttons"] = buttons;
        QVERIFY(!check.errors(typo).isEmpty());
    }

    void tool_reads_and_writes_standard_streams()
    {
        const QByteArray file = file_bytes("s", "4", picture(16, 16), {button({1, 2}, 9, 9, 0, 0, 0xff00ff00, 0, "A", two)});
        QTemporaryDir place;
        const result json = run({"to-json", "-"}, file, place.path());
        QCOMPARE(json.status, 0);
        // One stream: the picture travels inside the JSON.
        QVERIFY(json.out.contains("\"png\": \""));
        QVERIFY(json.err.isEmpty());
        const result back = run({"from-json", "-", "-o", "-"}, json.out, place.path());
        QCOMPARE(back.status, 0);
        QCOMPARE(back.out, file);
        const result moved = run({"rebind", "-", "hero=villain"}, file, place.path());
        QCOMPARE(moved.status, 0);
        QCOMPARE(read_bytes(moved.out).buttons[0].names, (QStringList{"villain:L_arm_ctrl", "villain:L_hand_ctrl"}));
        const result shot = run({"preview", "-", "-o", "-", "--size", "64x64"}, file, place.path());
        QCOMPARE(shot.status, 0);
        QCOMPARE(QImage::fromData(shot.out, "PNG").size(), QSize(64, 64));
        QVERIFY(run({"info", "-"}, file, place.path()).out.contains("name: s"));
        // Nothing but what was asked for lands in the folder.
        QCOMPARE(QDir(place.path()).entryList(QDir::Files | QDir::NoDotAndDotDot), QStringList());
    }

    void tool_takes_several_files()
    {
        QTemporaryDir place;
        const QDir d(place.path());
        write(d.filePath("a.pkr"), file_bytes("alpha", QString(), png_picture(), {button({1, 1}, 9, 9, 0, 0, 0, 0, "a", two)}));
        write(d.filePath("b.pkr"), file_bytes("beta", "7", picture(30, 20),
                                              {button({1, 1}, 9, 9, 0, 0, 0, 0, "a", {"rig:sub:arm", "x"}),
                                               button({5, 1}, 9, 9, 1, 0, 0, 0, "go", {"ls"})}));
        const result text = run({"info", "a.pkr", "b.pkr"}, QByteArray(), place.path());
        QCOMPARE(text.status, 0);
        QVERIFY(text.out.contains("name: alpha") && text.out.contains("name: beta"));

        const result json = run({"info", "--json", "a.pkr", "b.pkr"}, QByteArray(), place.path());
        QCOMPARE(json.status, 0);
        const QJsonArray all = QJsonDocument::fromJson(json.out).array();
        QCOMPARE(all.size(), 2);
        const QJsonObject b = all[1].toObject();
        QCOMPARE(b["file"].toString(), QString("b.pkr"));
        QCOMPARE(b["name"].toString(), QString("beta"));
        QCOMPARE(b["background"].toObject()["key"].toString(), QString("7"));
        QCOMPARE(b["background"].toObject()["width"].toInt(), 30);
        QCOMPARE(b["background"].toObject()["height"].toInt(), 20);
        QCOMPARE(b["buttons"].toInt(), 2);
        QCOMPARE(b["commandButtons"].toInt(), 1);
        QCOMPARE(b["namespaces"].toArray(), (QJsonArray{"rig", "rig:sub"}));
        QCOMPARE(b["damaged"].toBool(), false);
        QVERIFY(all[0].toObject()["background"].toObject()["key"].isNull());

        QCOMPARE(run({"to-json", "a.pkr", "b.pkr"}, QByteArray(), place.path()).status, 0);
        QVERIFY(d.exists("a.json") && d.exists("b.json") && d.exists("b.png") && !d.exists("a.png"));
        QVERIFY(run({"check", "a.pkr", "b.pkr"}, QByteArray(), place.path()).out.contains("b.pkr: ok, 2 buttons"));
    }

    void force_writes_over_files()
    {
        QTemporaryDir place;
        const QDir d(place.path());
        const QByteArray file = file_bytes("f", "3", picture(8, 8), {button({1, 1}, 9, 9, 0, 0, 0, 0, "a", two)});
        write(d.filePath("f.pkr"), file);
        write(d.filePath("f.png"), "someone's preview");
        QCOMPARE(run({"to-json", "f.pkr"}, QByteArray(), place.path()).status, 1);
        QCOMPARE(contents_of(d.filePath("f.png")), QByteArray("someone's preview"));
        QVERIFY(!d.exists("f.json"));
        QCOMPARE(run({"to-json", "f.pkr", "--force"}, QByteArray(), place.path()).status, 0);
        QCOMPARE(contents_of(d.filePath("f.png")), pkr_json::picture_png(read_bytes(file).header));
        QCOMPARE(run({"rebind", "f.pkr", "hero=villain", "--force"}, QByteArray(), place.path()).status, 0);
        QCOMPARE(read_bytes(contents_of(d.filePath("f.pkr"))).buttons[0].names[0], QString("villain:L_arm_ctrl"));
    }

    void diff_matches_buttons_by_what_they_are_data()
    {
        QTest::addColumn<QList<buttonAttributes>>("after");
        QTest::addColumn<QStringList>("lines");
        const buttonAttributes arm = button({10, 10}, 9, 9, 0, 0, 0xffff0000, 0, "arm", two);
        const buttonAttributes leg = button({20, 10}, 9, 9, 0, 0, 0xffff0000, 0, "", {"hero:leg"});
        const buttonAttributes go = button({30, 10}, 9, 9, 1, 0, 0xff00ff00, 0, "go", {"select hero:leg;"});
        const QList<buttonAttributes> before{arm, leg, go};
        QTest::newRow("same") << before << QStringList{};
        buttonAttributes moved = arm;
        moved.pos = QPoint(12, 10);
        moved.color = 0xff0000ff;
        QTest::newRow("fields") << QList<buttonAttributes>{moved, leg, go}
                                << QStringList{"buttons[0] \"arm\": x: 10 -> 12",
                                               "buttons[0] \"arm\": color: #ffff0000 -> #ff0000ff"};
        // The first button gone: the others are matched, not all changed.
        QTest::newRow("removed first") << QList<buttonAttributes>{leg, go}
                                       << QStringList{"removed: buttons[0] selection \"arm\" [\"hero:L_arm_ctrl\", "
                                                      "\"hero:L_hand_ctrl\"]"};
        QTest::newRow("added") << QList<buttonAttributes>{arm, leg, go, leg}
                               << QStringList{"added: buttons[3] selection \"\" [\"hero:leg\"]"};
        buttonAttributes renamed = leg;
        renamed.label = "leg";
        QTest::newRow("label") << QList<buttonAttributes>{arm, renamed, go}
                               << QStringList{"buttons[1]: label: \"\" -> \"leg\""};
        buttonAttributes script = go;
        script.names = QStringList{"select hero:arm;"};
        QTest::newRow("script") << QList<buttonAttributes>{arm, leg, script}
                                << QStringList{"buttons[2] \"go\": script: \"select hero:leg;\" -> \"select hero:arm;\""};
        buttonAttributes pictured = leg;
        pictured.picture = picture(6, 4);
        QTest::newRow("picture") << QList<buttonAttributes>{arm, pictured, go}
                                 << QStringList{"buttons[1]: picture: none -> 6 x 4"};
        buttonAttributes round = leg;
        round.shape = qint32(button_shape::ellipse);
        QTest::newRow("shape") << QList<buttonAttributes>{arm, round, go}
                               << QStringList{"buttons[1]: shape: rectangle -> ellipse"};
        buttonAttributes jaw = button({40, 10}, 9, 9, attribute_kind, 0, 0xff00ff00, 0, "jaw", {"hero:face.jaw"});
        jaw.maximum[0] = 2;
        QTest::newRow("attribute button") << QList<buttonAttributes>{arm, leg, go, jaw}
                                          << QStringList{"added: buttons[3] attribute \"jaw\" [\"hero:face.jaw\"]"};
        QTest::newRow("order") << QList<buttonAttributes>{go, arm, leg}
                               << QStringList{"buttons: the order of the list changed (it is the order they are drawn in)"};
    }
    void diff_matches_buttons_by_what_they_are()
    {
        QFETCH(QList<buttonAttributes>, after);
        QFETCH(QStringList, lines);
        QTemporaryDir place;
        const QDir d(place.path());
        const QList<buttonAttributes> before{button({10, 10}, 9, 9, 0, 0, 0xffff0000, 0, "arm", two),
                                             button({20, 10}, 9, 9, 0, 0, 0xffff0000, 0, "", {"hero:leg"}),
                                             button({30, 10}, 9, 9, 1, 0, 0xff00ff00, 0, "go", {"select hero:leg;"})};
        write(d.filePath("a.pkr"), file_bytes("p", QString(), png_picture(), before));
        write(d.filePath("b.json"), pkr_json::to_json(read_bytes(file_bytes("p", QString(), png_picture(), after)),
                                                      QString()));
        // A .pkr against JSON, the JSON from standard input.
        const result r = run({"diff", "a.pkr", "-"}, contents_of(d.filePath("b.json")), place.path());
        QCOMPARE(r.status, lines.isEmpty() ? 0 : 1);
        QCOMPARE(QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts), lines);
    }

    void check_finds_what_the_scene_lacks_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("all there") << QStringList{"hero.pkr", "--scene", "demo.ma"} << 0
                                   << QStringList{"hero.pkr: ok, 50 buttons"};
        QTest::newRow("a control gone") << QStringList{"hero.pkr", "sidekick.pkr", "--scene", "less.ma"} << 1
                                        << QStringList{"hero.pkr: button at 252,284: missing hero:L_hand_ctrl",
                                                       "hero.pkr: button \"All\": missing hero:L_hand_ctrl",
                                                       "sidekick.pkr: ok, 50 buttons"};
        // The picker's main namespace read as another copy's.
        QTest::newRow("bound to sidekick") << QStringList{"hero.pkr", "--scene", "less.ma", "--namespace", "sidekick"}
                                           << 0 << QStringList{"hero.pkr: ok, 50 buttons"};
        QTest::newRow("scripts") << QStringList{"scripts.pkr", "--scene", "demo.ma", "--namespace", "hero"} << 1
                                 << QStringList{"scripts.pkr: button \"mel\": missing hero:gone_ctrl",
                                                "scripts.pkr: button \"py\": missing hero:lost_ctrl"};
        QTest::newRow("no scene") << QStringList{"hero.pkr", "--scene", "gone.ma"} << 2 << QStringList{};
        QTest::newRow("a scene that saves") << QStringList{"hero.pkr", "--scene", "saves.ma"} << 2 << QStringList{};
    }
    void check_finds_what_the_scene_lacks()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QStringList, lines);
        QTemporaryDir place;
        const QDir d(place.path());
        for (const char* name : {"hero.pkr", "sidekick.pkr"})
            QVERIFY(QFile::copy(QString(SOURCE_DIR "/examples/pickers/") + name, d.filePath(name)));
        const QByteArray demo = contents_of(SOURCE_DIR "/examples/demo/demo.ma");
        write(d.filePath("demo.ma"), demo);
        write(d.filePath("less.ma"), QByteArray(demo).replace("createNode transform -n \"hero:L_hand_ctrl\";", ""));
        write(d.filePath("saves.ma"), "createNode transform -n \"a\";\nfile -rename \"stolen.ma\";\nfile -save;\n");
        // Names in scripts: namespaced words, or names the picker binds;
        // in Python only inside strings, so code is never taken for a name.
        write(d.filePath("scripts.pkr"),
              file_bytes("s", QString(), png_picture(),
                         {button({1, 1}, 9, 9, 0, 0, 0, 0, "arm", {"rig:L_hand_ctrl"}),
                          button({2, 1}, 9, 9, 1, 0, 0, 0, "mel",
                                 {"// rig:commented_out\nselect -r rig:L_hand_ctrl rig:gone_ctrl; print \"rig: done\";"}),
                          button({3, 1}, 9, 9, 1, 1, 0, 0, "py",
                                 {"import maya.cmds as cmds\nd = {a:b for a, b in x}  # rig:no\n"
                                  "cmds.select('rig:L_hand_ctrl', \"rig:lost_ctrl\")"})}));
        const result r = run(QStringList{"check"} + args, QByteArray(), place.path());
        QCOMPARE(r.status, status);
        QCOMPARE(QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts), lines);
        QVERIFY(!d.exists("stolen.ma"));
        if (status == 2)
            QVERIFY(!r.err.isEmpty());
    }

    void tool_says_nothing_but_its_own_messages()
    {
        // No runtime folder: Qt would complain on every call.
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("XDG_RUNTIME_DIR");
        env.remove("QT_QPA_PLATFORM");
        p.setProcessEnvironment(env);
        p.setWorkingDirectory(dir.path());
        for (const QStringList& args : {QStringList{"info", SOURCE_DIR "/examples/pickers/hero.pkr"},
                                        QStringList{"preview", SOURCE_DIR "/examples/pickers/hero.pkr", "-o", "-"}}) {
            p.start(PKR_TOOL, args);
            QVERIFY(p.waitForFinished(60000));
            QCOMPARE(p.exitCode(), 0);
            QCOMPARE(p.readAllStandardError(), QByteArray());
        }
    }

    void readme_examples_run()
    {
        // The fenced sh block of the README's tool section, run as written.
        const QString readme = QString::fromUtf8(contents_of(SOURCE_DIR "/README.md"));
        const int section = readme.indexOf("## Picker files in pipelines");
        const int start = readme.indexOf("```sh\n", section);
        QVERIFY(section >= 0 && start >= 0);
        const QString block = readme.mid(start + 6, readme.indexOf("```", start + 6) - start - 6);
        QVERIFY(block.count('\n') >= 8);
        QTemporaryDir place;
        for (const char* name : {"examples/pickers/hero.pkr", "examples/pickers/sidekick.pkr", "examples/demo/demo.ma"})
            QVERIFY(QFile::copy(QString(SOURCE_DIR "/") + name, place.filePath(QFileInfo(name).fileName())));
        QProcess sh;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("PATH", QFileInfo(PKR_TOOL).path() + ":" + env.value("PATH"));
        sh.setProcessEnvironment(env);
        sh.setWorkingDirectory(place.path());
        sh.start("sh", {"-e", "-x", "-c", block});
        QVERIFY(sh.waitForFinished(120000));
        QVERIFY2(sh.exitCode() == 0, sh.readAllStandardError().constData());
    }
};

QTEST_MAIN(test_pkr_tool)
#include "test_pkr_tool.moc"
