// Pictures live in scene entries of their own and the scene's pictures share
// one pixel budget: scenes of large photos survive save, reopen and edit; a
// picture past the budget is refused before anything changes; older and
// damaged scenes keep what they hold.
#include "host_fixture.h"
#include "linked_picker.h"
#include "modal_helper.h"
#include "pkr_file.h"
#include "model/limits.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "model/scene_writer.h"
#include "model/side_patterns.h"

#include <QCryptographicHash>
#include <QImageWriter>
#include <QTemporaryDir>
#include <QtTest>

namespace {

constexpr int side = limits::image_square_side;

// Smooth light under a fine grain, as a photo of a character sheet
// compresses: about a byte and a half a pixel as PNG.
QImage photo(quint32 seed)
{
    QImage image(side, side, QImage::Format_RGB32);
    quint32 state = seed * 2654435761u + 1;
    for (int y = 0; y < side; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < side; ++x) {
            state ^= state << 13;
            state ^= state >> 17;
            state ^= state << 5;
            auto grain = [state](int shift) { return int((state >> shift) & 7) - 3; };
            line[x] = qRgb(qBound(0, x / 17 + grain(0), 255), qBound(0, y / 17 + grain(3), 255),
                           qBound(0, int(seed * 60 % 200) + grain(6), 255));
        }
    }
    return image;
}

QImage flat(int n)
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(n * 70 % 360, 200, 200));
    return image;
}

// zlib's fastest level (Qt's quality 90 and up store the pixels as they
// are): making the pictures is not what is tested.
void save_png(const QImage& image, const QString& path)
{
    QImageWriter writer(path, "PNG");
    writer.setQuality(80);
    QVERIFY2(writer.write(image), qPrintable(writer.errorString()));
}

} // namespace

class test_scene_pictures : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;
    QStringList photos; // 4096 x 4096, made once for the run
    QStringList flats;
    QString tiny;


    // Tabs, keys, pictures (size and a digest of the PNG bytes) and buttons.
    QString describe_window()
    {
        QString out = QString("current %1\n").arg(window()->tabs()->currentIndex());
        for (int i = 0; i < window()->tabs()->count(); ++i) {
            const png_picture& p = tab(i)->background();
            out += QString("tab '%1' key '%2' %3x%4 %5\n")
                       .arg(window()->tab_name(i), tab(i)->backgroundKey())
                       .arg(p.width()).arg(p.height())
                       .arg(QString(QCryptographicHash::hash(p.png(), QCryptographicHash::Md5).toHex()));
            for (const buttonRecord& r : tab(i)->buttons())
                out += QString("  (%1,%2) %3x%4 '%5' [%6]\n").arg(r.pos.x()).arg(r.pos.y()).arg(r.width)
                           .arg(r.height).arg(r.label, r.names.join(','));
        }
        return out;
    }

    // The scene in a fresh session, its window open.
    void open_afresh(const QString& scene)
    {
        restart_with_scene(scene);
        run("QuillmarshPicker");
        h.drain_idle();
    }

    // Saves the scene and opens it in a fresh session; what the window shows there.
    QString reopen(const QString& name)
    {
        const QString scene = dir.filePath(name);
        if (!h.save_scene(scene, nullptr))
            return "not saved";
        open_afresh(scene);
        return h.modified() ? "opening modified the scene" : describe_window();
    }

    void characters()
    {
        run("namespace -add rig");
        for (const char* n : {"arm", "leg", "head"})
            run(QString("createNode transform -n \"rig:%1\" -ss").arg(n));
    }

    // One tab a picture, each with a button, built the way a script builds them.
    void build(const QStringList& pictures)
    {
        run("QuillmarshPicker; select -r rig:arm");
        for (int i = 0; i < pictures.size(); ++i) {
            if (i > 0)
                run("QuillmarshPicker new_tab");
            QVERIFY(run(QString("QuillmarshPicker rename_tab p%1; QuillmarshPicker set_background \"%2\";"
                                "QuillmarshPicker add_button %3 60 b%1")
                            .arg(i).arg(pictures[i]).arg(100 + 50 * i)));
        }
        h.drain_idle();
    }

    // A scene file whose picker data is `stream`, with these image entries.
    QString scene_with(const QString& name, const QByteArray& stream, const QMap<QString, png_picture>& entries)
    {
        h.set_file_info("QuillmarshPickerData", encode_picker_data(stream));
        for (auto it = entries.begin(); it != entries.end(); ++it)
            h.set_file_info("QuillmarshPickerImage_" + it.key(), encode_image(it.value()));
        const QString scene = dir.filePath(name);
        h.save_scene(scene, nullptr);
        return scene;
    }

    QString warnings() const
    {
        QStringList lines = h.output_text().split('\n').filter("// Warning:");
        return lines.join('\n');
    }

private slots:
    void initTestCase()
    {
        main.resize(300, 200);
        const QString failed = start_linked_picker(h, &main);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        for (int i = 0; i < 5; ++i) {
            if (i < 3) {
                photos << dir.filePath(QString("photo%1.png").arg(i));
                save_png(photo(quint32(i + 1)), photos.last());
            }
            flats << dir.filePath(QString("flat%1.png").arg(i));
            save_png(flat(i), flats.last());
        }
        tiny = dir.filePath("tiny.png");
        save_png(QImage(10, 10, QImage::Format_RGB32), tiny);
    }

    void init()
    {
        picker_main::cleanup();
        h.reset();
        h.set_main_window(&main);
        characters();
    }

    void large_pictures_survive_save_reopen_and_edit_data()
    {
        QTest::addColumn<QStringList>("pictures");
        QTest::newRow("three photos") << photos;
        QTest::newRow("four flat pictures: the whole budget") << QStringList(flats.mid(0, 4));
    }

    void large_pictures_survive_save_reopen_and_edit()
    {
        QFETCH(QStringList, pictures);
        build(pictures);
        const QString built = describe_window();
        QCOMPARE(built.count("4096x4096"), pictures.size());
        QCOMPARE(reopen("built.ma"), built);
        QString data;
        QVERIFY(h.file_info("QuillmarshPickerData", &data));
        QVERIFY2(data.size() < 4096, "the picker data names the pictures and holds none");
        run("QuillmarshPicker set_tab p1; QuillmarshPicker move_button label b1 20 30");
        h.drain_idle();
        const QString edited = describe_window();
        QVERIFY(edited != built);
        QCOMPARE(reopen("edited.ma"), edited);
        QCOMPARE(warnings(), QString());
    }

    void a_picture_past_the_budget_changes_nothing_data()
    {
        QTest::addColumn<QString>("route");
        QTest::newRow("set_background") << "directive";
        QTest::newRow("the view's chooser") << "chooser";
        QTest::newRow("open") << "open";
        QTest::newRow("File > Open") << "menu";
    }

    void a_picture_past_the_budget_changes_nothing()
    {
        QFETCH(QString, route);
        build(QStringList(flats.mid(0, 4)));
        run("QuillmarshPicker new_tab; QuillmarshPicker rename_tab extra; QuillmarshPicker add_button 5 5 x");
        const QString pkr = dir.filePath("tiny.pkr");
        write_pkr_file(pkr, "tiny", {button_at(QPoint(5, 5), {"rig:leg"})}, "77",
                       filled_picture(10, 10, Qt::black));
        h.drain_idle();
        h.set_modified(false);
        const QString before = describe_window();
        const auto entries = h.file_info_table();
        h.clear_output();

        QString said;
        if (route == "directive") {
            QVERIFY(!run(QString("QuillmarshPicker set_background \"%1\"").arg(tiny)));
            said = h.output_text();
        } else if (route == "chooser") {
            modal_helper::answer_in_turn({tiny, "OK"});
            tab(4)->change_background();
            said = modal_helper::last_text();
        } else if (route == "open") {
            QVERIFY(!run(QString("QuillmarshPicker open \"%1\"").arg(pkr)));
            said = h.output_text();
        } else {
            modal_helper::answer_next("OK");
            window()->load_one_picker(pkr);
            said = modal_helper::last_text();
        }
        QVERIFY2(said.contains("the scene's pictures would exceed 67.1 megapixels"), qPrintable(said));
        h.drain_idle();
        QCOMPARE(describe_window(), before);
        QVERIFY(h.file_info_table() == entries);
        QVERIFY(!h.modified());
        // A picture that takes another's place needs no more room.
        if (route == "directive")
            QVERIFY(run(QString("QuillmarshPicker set_tab p0; QuillmarshPicker set_background \"%1\"")
                            .arg(flats[4])));
    }

    void older_scenes_keep_their_pictures_data()
    {
        QTest::addColumn<bool>("entries");
        QTest::newRow("with the entries it wrote") << true;
        QTest::newRow("entries missing") << false;
    }

    // Version 5 data carries each tab's picture itself; the first edit
    // writes version 6 data and an entry for every picture.
    void older_scenes_keep_their_pictures()
    {
        QFETCH(bool, entries);
        const png_picture red = filled_picture(8, 6, Qt::red), blue = filled_picture(5, 5, Qt::blue);
        QByteArray v5;
        {
            QDataStream out(&v5, QIODevice::WriteOnly);
            out << qint32(5) << qint32(2) << qint32(1);
            out << qint32(0) << QString("hero") << QString("1700000001") << red;
            write_v5_button_list(out, {button_at(QPoint(4, 4), {"rig:arm"}, "arm")});
            out << qint32(1) << QString("face") << QString("1700000002") << blue;
            write_v5_button_list(out, {button_at(QPoint(2, 2), {"rig:head"}, "head")});
        }
        QMap<QString, png_picture> stored;
        if (entries)
            stored = {{"1700000001", red}, {"1700000002", blue}};
        open_afresh(scene_with("v5.ma", v5, stored));
        QCOMPARE(tab(0)->backgroundKey(), QString("1700000001"));
        QCOMPARE(tab(0)->background().png(), red.png());
        QCOMPARE(tab(1)->background().png(), blue.png());
        QVERIFY(!h.modified());

        run("QuillmarshPicker move_button label head 3 3");
        h.drain_idle();
        QString data;
        QVERIFY(h.file_info("QuillmarshPickerData", &data));
        QCOMPARE(decode_picker_data(data.toLatin1()).left(4), QByteArray("\0\0\0\7", 4));
        for (int i = 0; i < 2; ++i) {
            QString entry;
            QVERIFY(h.file_info("QuillmarshPickerImage_" + tab(i)->backgroundKey(), &entry));
            QCOMPARE(decode_image(entry.toLatin1()).png(), tab(i)->background().png());
        }
        const QString edited = describe_window();
        QCOMPARE(reopen("v6.ma"), edited);
        QCOMPARE(warnings(), QString());
    }

    void a_missing_picture_keeps_its_key_and_buttons()
    {
        QByteArray v6;
        {
            QDataStream out(&v6, QIODevice::WriteOnly);
            out << qint32(6) << qint32(2) << qint32(0);
            out << qint32(0) << QString("hero") << QString("1700000009");
            write_v5_button_list(out, {button_at(QPoint(4, 4), {"rig:arm"}, "arm"),
                                    button_at(QPoint(40, 4), {"rig:leg"}, "leg")});
            out << qint32(1) << QString("face") << QString() << qint32(0);
        }
        open_afresh(scene_with("lost.ma", v6, {}));
        QVERIFY2(warnings().contains("the picture QuillmarshPickerImage_1700000009 of the tab \"hero\" is missing"),
                 qPrintable(warnings()));
        QCOMPARE(tab(0)->backgroundKey(), QString("1700000009"));
        QVERIFY(tab(0)->background().isNull());
        const QString hero = describe_window().section('\n', 1, 3);
        QVERIFY(hero.contains("'arm'") && hero.contains("'leg'"));

        run("QuillmarshPicker set_tab face; select -r rig:head; QuillmarshPicker add_button 9 9 head");
        h.drain_idle();
        const QString edited = describe_window();
        QCOMPARE(edited.section('\n', 1, 3), hero);
        QCOMPARE(reopen("still_lost.ma"), edited);
        QVERIFY(!h.file_info("QuillmarshPickerImage_1700000009", nullptr));
    }

    void a_scene_past_the_budget_loads_what_fits_data()
    {
        QTest::addColumn<int>("version");
        QTest::newRow("pictures in the data") << 5;
        QTest::newRow("pictures in their entries") << 6;
    }

    // Five whole pictures (no picker makes such a scene): four are shown,
    // the fifth keeps its key and its entry, and can join once there is room.
    void a_scene_past_the_budget_loads_what_fits()
    {
        QFETCH(int, version);
        QByteArray stream;
        QMap<QString, png_picture> entries;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            out << qint32(version) << qint32(5) << qint32(4);
            for (int i = 0; i < 5; ++i) {
                QFile file(flats[i]);
                QVERIFY(file.open(QIODevice::ReadOnly));
                const png_picture picture = png_picture::decode(file.readAll());
                const QString key = QString::number(1700000000 + i);
                entries[key] = picture;
                out << qint32(i) << QString("p%1").arg(i) << key;
                if (version < 6)
                    out << picture;
                write_v5_button_list(out, {button_at(QPoint(4, 4), {"rig:arm"}, "arm")});
            }
        }
        open_afresh(scene_with("five.ma", stream, entries));
        for (int i = 0; i < 4; ++i)
            QCOMPARE(tab(i)->background().size(), QSize(side, side));
        QVERIFY(tab(4)->background().isNull());
        QCOMPARE(tab(4)->backgroundKey(), QString("1700000004"));
        QVERIFY2(warnings().contains("QuillmarshPickerImage_1700000004 of the tab \"p4\" was not loaded: the "
                                     "scene's pictures would exceed"),
                 qPrintable(warnings()));

        run("QuillmarshPicker move_button label arm 8 8");
        h.drain_idle();
        QString fifth;
        QVERIFY(h.file_info("QuillmarshPickerImage_1700000004", &fifth));
        QVERIFY(!run(QString("QuillmarshPicker fetch_image 1700000004 \"%1\"").arg(fifth)));
        run("QuillmarshPicker set_tab p0; QuillmarshPicker close_tab");
        QVERIFY(run(QString("QuillmarshPicker fetch_image 1700000004 \"%1\"").arg(fifth)));
        QCOMPARE(tab(3)->background().png(), entries["1700000004"].png());
    }

    void the_window_stream_names_pictures_by_key()
    {
        picker_page drawn, empty;
        drawn.set_name("hero");
        drawn.set_background("12", filled_picture(3, 2, Qt::green));
        drawn.insert(button_at(QPoint(7, 8), {"rig:arm"}, "arm"));
        empty.set_name("face");
        empty.set_mirror_patterns({"lf_", "rt_"});
        QByteArray written;
        {
            QDataStream out(&written, QIODevice::WriteOnly);
            write_window_stream(out, {&drawn, &empty}, 1);
        }
        QByteArray expected;
        {
            QDataStream out(&expected, QIODevice::WriteOnly);
            out << qint32(7) << qint32(2) << qint32(1) << qint32(0) << QString("hero") << QString("12") << qint32(1)
                << qint32(0) << QPoint(7, 8) << qint32(20) << qint32(20) << qint32(20) << qint32(0) << qint32(0)
                << quint32(0x3366cc) << quint32(0xffffff) << QString("arm") << qint32(1) << QString("rig:arm")
                << quint8(0) << quint32(0) // a rectangle, no tagged fields
                << qint32(1) << QString("face") << QString() << qint32(0);
            // Each tab's side patterns after the last tab: "QPAT", the count, the lists.
            out << quint32(0x51504154) << qint32(2) << side_patterns::built_in() << QStringList{"lf_", "rt_"};
        }
        QCOMPARE(written.toHex(), expected.toHex());
        QDataStream in(written);
        window_contents got;
        QVERIFY(read_window_stream(in, got));
        QCOMPARE(got.tabs.size(), 2);
        QCOMPARE(got.tabs[0].key, QString("12"));
        QVERIFY(got.tabs[0].background.isNull() && !got.tabs[0].image_refused && !got.damaged);
        QCOMPARE(got.tabs[0].buttons.size(), 1);
        QCOMPARE(got.tabs[1].mirror_patterns, (QStringList{"lf_", "rt_"}));
    }
};

QTEST_MAIN(test_scene_pictures)
#include "test_scene_pictures.moc"
