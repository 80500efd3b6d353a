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
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

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

const QStringList two{"hero:L_arm_ctrl", "hero:L_hand_ctrl"};

} // namespace

class test_pkr_tool : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    // Runs the tool; its exit status, with what it printed in *out.
    int tool(const QStringList& args, QString* out = nullptr)
    {
        QProcess p;
        p.start(PKR_TOOL, args);
        if (!p.waitForFinished(60000))
            return -1;
        if (out)
            *out = QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError());
        return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
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
        QTest::newRow("another format") << with("quillmarsh-picker", "other") << "\"format\"";
        QTest::newRow("newer") << with("\"formatVersion\": 1", "\"formatVersion\": 9") << "newer version";
        QTest::newRow("colour") << with("#ff000000", "red") << "button 1: \"color\"";
        QTest::newRow("coordinate fraction") << with("\"x\": 1", "\"x\": 1.5") << "whole number";
        QTest::newRow("coordinate far") << with("\"x\": 1", "\"x\": 1e12") << "whole number";
        // Beyond what any 64-bit integer holds: refused before any conversion.
        QTest::newRow("coordinate 2^63") << with("\"x\": 1", "\"x\": 9223372036854775808") << "from -1000000 to 1000000";
        QTest::newRow("coordinate -1e19") << with("\"x\": 1", "\"x\": -1e19") << "from -1000000 to 1000000";
        QTest::newRow("version 1e308") << with("\"formatVersion\": 1", "\"formatVersion\": 1e308")
                                       << "\"formatVersion\" must be a whole number from 1 to 1000";
        QTest::newRow("kind") << with("\"selection\"", "\"other\"") << "\"kind\"";
        QTest::newRow("no names") << with("\"hero:L_arm_ctrl\",", "").replace("\"hero:L_hand_ctrl\"", "")
                                  << "\"names\" must hold";
        QTest::newRow("hostile key") << with("\"key\": null", "\"key\": \"1;system\"") << "1 to 19 digits";
        QTest::newRow("missing picture") << with("\"key\": null", "\"key\": \"5\", \"file\": \"gone.png\"")
                                         << "cannot read the picture";
        QTest::newRow("picture not PNG") << with("\"key\": null", "\"key\": \"5\", \"png\": \"aGVsbG8=\"")
                                         << "not a PNG";
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
        QVERIFY(!pkr_json::from_json(json, dir.path(), header, buttons, &why));
        QVERIFY2(why.contains(reason), qPrintable(why));
        QCOMPARE(header.name, QString("kept"));
        QVERIFY(buttons.isEmpty());
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
        for (const char* line : {"name: hero", "picture: 200 x 100", "buttons: 2 (1 selection, 1 command)",
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
};

QTEST_MAIN(test_pkr_tool)
#include "test_pkr_tool.moc"
