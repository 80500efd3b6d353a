// The scene always holds what the window shows: every change is written once
// the host is idle (or at once before a save), a scene that is only opened
// stays unmodified, and nothing read from a file or scene runs MEL.
#include "host_fixture.h"
#include "modal_helper.h"
#include "pkr_file.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"

#include <QCryptographicHash>
#include <QLineEdit>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QUndoStack>
#include <QtTest>

namespace {

// A window stream as plain text: tabs, keys, a digest of each picture and
// every button field, so two streams compare by what they hold. From
// version 6 on a picture is the one `picture_of` finds for its key.
QString describe_stream(const QByteArray& bytes, const std::function<QImage(const QString&)>& picture_of)
{
    QDataStream in(bytes);
    qint32 version = 0, count = 0, current = 0;
    in >> version >> count >> current;
    QString out = QString("v%1 tabs %2 current %3\n").arg(version).arg(count).arg(current);
    for (qint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        qint32 index = 0;
        QString text, key;
        in >> index >> text >> key;
        out += QString("tab %1 '%2' key '%3'").arg(index).arg(text, key);
        if (!key.isEmpty()) {
            QImage image;
            if (version < 6) {
                QPixmap pixmap;
                in >> pixmap;
                image = pixmap.toImage();
            } else {
                image = picture_of(key);
            }
            image = image.convertToFormat(QImage::Format_ARGB32);
            QByteArray pixels(reinterpret_cast<const char*>(image.constBits()), int(image.sizeInBytes()));
            out += QString(" %1x%2 %3").arg(image.width()).arg(image.height())
                       .arg(QString(QCryptographicHash::hash(pixels, QCryptographicHash::Md5).toHex()));
        }
        out += '\n';
        read_button_list(in, picker_format::window_record_version(version), [&out](const buttonAttributes& a) {
            out += QString("  (%1,%2) %3x%4 k%5 l%6 %7 %8 '%9' [%10] s%11 p%12\n")
                       .arg(a.pos.x()).arg(a.pos.y()).arg(a.width).arg(a.height).arg(a.kind).arg(a.language)
                       .arg(a.color, 0, 16).arg(a.labelColor, 0, 16).arg(a.label, a.names.join(','))
                       .arg(a.shape)
                       .arg(QString(QCryptographicHash::hash(a.picture.png(), QCryptographicHash::Md5).toHex()));
        });
    }
    return in.status() == QDataStream::Ok ? out : out + "DAMAGED\n";
}

} // namespace

class test_scene : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;

    QString describe_window()
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        window()->streamTo(out);
        return describe_stream(bytes, [](const QString& key) {
            for (int i = 0; i < window()->tabs()->count(); ++i) {
                auto* view = qobject_cast<picker_view*>(window()->tabs()->widget(i));
                if (view->backgroundKey() == key && !view->background().isNull())
                    return view->background().image();
            }
            return QImage();
        });
    }

    // What the scene's picker data holds; no data stands for the empty
    // window a new scene gets.
    QString describe_scene()
    {
        QString text;
        if (!h.file_info("QuillmarshPickerData", &text)) {
            QByteArray bytes;
            QDataStream out(&bytes, QIODevice::WriteOnly);
            out << picker_format::window_version << qint32(1) << qint32(0) << qint32(0) << QString("Untitled")
                << QString() << qint32(0);
            return describe_stream(bytes, nullptr);
        }
        return describe_stream(decode_picker_data(text.toLatin1()), [this](const QString& key) {
            QString entry;
            return h.file_info("QuillmarshPickerImage_" + key, &entry) ? decode_image(entry.toLatin1()).image()
                                                                        : QImage();
        });
    }

    // The scene matches the window, and holds an image entry for every key.
    void check_scene_holds_the_window(const QString& step)
    {
        QVERIFY2(!window()->sceneChangePending(), qPrintable(step));
        QCOMPARE(describe_scene(), describe_window());
        QTabWidget* tabs = window()->tabs();
        for (int i = 0; i < tabs->count(); ++i) {
            picker_view* view = qobject_cast<picker_view*>(tabs->widget(i));
            if (view->backgroundKey().isEmpty())
                continue;
            QString text;
            QVERIFY2(h.file_info("QuillmarshPickerImage_" + view->backgroundKey(), &text), qPrintable(step));
            QCOMPARE(decode_image(text.toLatin1()).png(), view->background().png());
        }
        for (const auto& entry : h.file_info_table()) {
            if (!entry.first.startsWith("QuillmarshPickerImage_"))
                continue;
            const QString key = entry.first.mid(QString("QuillmarshPickerImage_").size());
            bool used = false;
            for (int i = 0; i < tabs->count(); ++i)
                used = used || qobject_cast<picker_view*>(tabs->widget(i))->backgroundKey() == key;
            QVERIFY2(used, qPrintable(step + ": stale image entry " + key));
        }
    }

    void characters()
    {
        for (const char* ns : {"rig", "hero"})
            nodes(ns, {"arm", "leg", "head", "hand"});
    }

    QString image_file(const QString& name, QColor colour, int w = 12, int hgt = 9)
    {
        QString path = dir.filePath(name);
        QImage image(w, hgt, QImage::Format_RGB32);
        image.fill(colour);
        image.save(path);
        return path;
    }

    // Saves the scene, opens it in a fresh session and finds the same
    // window there, with the scene untouched by the restore.
    void reopen_and_compare(const QString& name)
    {
        QString scene = dir.filePath(name);
        QVERIFY(h.save_scene(scene, nullptr));
        const QString saved = describe_window();
        restart_with_scene(scene);
        run("QuillmarshPicker");
        h.drain_idle();
        QCOMPARE(describe_window(), saved);
        QVERIFY(!h.modified());
    }

private slots:
    void initTestCase()
    {
        main.resize(300, 200);
        const QString failed = start_linked_picker(h, &main);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void init()
    {
        picker_main::cleanup();
        h.reset();
        h.set_main_window(&main);
        characters();
    }

    void a_picture_under_a_taken_key_gets_a_key_of_its_own()
    {
        // Two files carry the same key for different pictures: each keeps its
        // picture through the scene.
        QString a = dir.filePath("a.pkr"), b = dir.filePath("b.pkr");
        write_pkr_file(a, "a", {button_at(QPoint(5, 5), {"rig:arm"})}, "4242", filled_picture(4, 4, Qt::red));
        write_pkr_file(b, "b", {button_at(QPoint(5, 5), {"rig:leg"})}, "4242", filled_picture(6, 6, Qt::blue));
        run("QuillmarshPicker; QuillmarshPicker clear_tabs");
        run(QString("QuillmarshPicker open \"%1\" \"%2\"").arg(a, b));
        h.drain_idle();
        check_scene_holds_the_window("two files");
        reopen_and_compare("keys.ma");
    }

    // Buttons' pictures live in the picker data itself, byte for byte, and
    // come back with the scene.
    void button_pictures_reopen_with_the_scene()
    {
        const QString icon = dir.filePath("icon.png");
        write_picture_file(icon, 9, 7, Qt::magenta);
        run("QuillmarshPicker; select -r rig:arm; QuillmarshPicker add_button 5 5 arm;"
            "select -r rig:leg; QuillmarshPicker add_button 30 5 leg");
        QVERIFY2(run(QString("QuillmarshPicker set_button_image label arm \"%1\"").arg(icon)), qPrintable(h.output_text()));
        h.drain_idle();
        check_scene_holds_the_window("a picture");
        QVERIFY(describe_scene().contains(
            QCryptographicHash::hash(view()->buttons().first().picture.png(), QCryptographicHash::Md5).toHex()));
        QCOMPARE(h.file_info_table().size(), 1); // no entry of its own
        reopen_and_compare("pictures.ma");
        QCOMPARE(view()->buttons().first().picture.size(), QSize(9, 7));
    }

    void opening_the_window_and_building_at_once_keeps_both()
    {
        QString path = dir.filePath("one.pkr");
        write_pkr_file(path, "stored", {button_at(QPoint(5, 5), {"rig:arm"}, "arm")});
        run(QString("QuillmarshPicker; QuillmarshPicker clear_tabs; QuillmarshPicker open \"%1\"").arg(path));
        h.drain_idle();
        QString scene = dir.filePath("one.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        restart_with_scene(scene);
        // One call: the window opens, then a button is built on its tab.
        QVERIFY(run("QuillmarshPicker; select -r rig:leg; QuillmarshPicker add_button 40 40 leg"));
        h.drain_idle();
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"stored"});
        QCOMPARE(view()->buttons().size(), 2);
        check_scene_holds_the_window("built after opening");
    }

    void opening_or_starting_a_scene_leaves_it_unmodified()
    {
        run("QuillmarshPicker");
        run(QString("QuillmarshPicker set_background \"%1\"").arg(image_file("b.png", Qt::green)));
        run("select -r rig:arm; QuillmarshPicker add_button 5 5 arm");
        h.drain_idle();
        QString scene = dir.filePath("plain.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        // Restored as soon as the scene has loaded.
        QCOMPARE(view()->buttons().size(), 1);
        h.drain_idle();
        QVERIFY(!h.modified());
        run("select -r rig:arm");
        QCOMPARE(picker_window::selection(), QStringList{"rig:arm"});
        QVERIFY(run("file -f -new"));
        h.drain_idle();
        QVERIFY(!h.modified());
        QVERIFY2(picker_window::selection().isEmpty(), "the old scene's names are gone");
        QVERIFY(h.file_info_table().isEmpty());
    }

    void a_save_right_after_a_build_keeps_the_picker_data()
    {
        QTest::addColumn<QString>("build");
        QTest::newRow("plain") << "select -r rig:arm; QuillmarshPicker add_button 5 5 arm;";
        QTest::newRow("batch never ended")
            << "QuillmarshPicker enable_batch_mode; select -r rig:arm; QuillmarshPicker add_button 5 5 arm;";
    }

    void a_save_right_after_a_build_keeps_the_picker()
    {
        QFETCH(QString, build);
        QString scene = dir.filePath("built.ma");
        // One script, no idle time anywhere before the save.
        QVERIFY(run(QString("QuillmarshPicker; %1 file -rename \"%2\"; file -save;").arg(build, scene)));
        const QString built = describe_window();
        restart_with_scene(scene);
        run("QuillmarshPicker");
        QCOMPARE(describe_window(), built);
        QVERIFY(!h.modified());
    }

    void newer_picker_data_is_never_written_over()
    {
        QByteArray newer;
        {
            QDataStream out(&newer, QIODevice::WriteOnly);
            out << qint32(8) << qint32(1) << qint32(0) << QString("from a newer picker");
        }
        const QString text = encode_picker_data(newer);
        run("QuillmarshPicker");
        h.set_file_info("QuillmarshPickerData", text);
        QString scene = dir.filePath("newer.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        modal_helper::last_text().clear();
        modal_helper::answer_next("OK");
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        // Not while the scene opens, but right after.
        QVERIFY(modal_helper::last_text().isEmpty());
        QTRY_VERIFY(modal_helper::last_text().startsWith("The scene file contains data\nin a format (8)"));
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"Untitled"});
        // Edits, a flush and a save leave the newer data as it was.
        run("select -r rig:arm; QuillmarshPicker add_button 5 5 arm; QuillmarshPicker new_tab; QuillmarshPicker flush");
        h.drain_idle();
        QVERIFY(h.save_scene(scene, nullptr));
        QString held;
        QVERIFY(h.file_info("QuillmarshPickerData", &held));
        QCOMPARE(held, text);
        // Another scene is written as usual.
        run("file -f -new");
        characters();
        run("select -r rig:arm; QuillmarshPicker add_button 5 5 arm");
        h.drain_idle();
        check_scene_holds_the_window("a new scene after the newer one");
    }

    void hostile_keys_run_nothing_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("quote") << "1\"; createNode transform -n evil; \"";
        QTest::newRow("line break") << "1\n\"; createNode transform -n evil; //";
    }

    void hostile_keys_run_nothing()
    {
        QFETCH(QString, key);
        // From a picker file: opened, written, closed.
        QString path = dir.filePath("evil.pkr");
        write_pkr_file(path, "evil", {button_at(QPoint(5, 5), {"rig:arm"})}, key, filled_picture(3, 3, Qt::red));
        h.clear_output();
        run(QString("QuillmarshPicker; QuillmarshPicker open \"%1\"").arg(path));
        h.drain_idle();
        QVERIFY2(view()->backgroundKey().isEmpty(), "a key the picker never makes is no key");
        QCOMPARE(view()->buttons().size(), 1);
        // The picture was left out, so the tab may not save over its file;
        // the script hears it in its output.
        QVERIFY2(h.output_text().contains("// Warning: QuillmarshPicker - open: evil.pkr names its background with a "
                                          "key the picker never makes, so the picture was left out."),
                 qPrintable(h.output_text()));
        QVERIFY(view()->path().isEmpty());
        run("QuillmarshPicker close_tab");
        h.drain_idle();

        // From a scene: restored, changed, closed, reopened.
        QByteArray stream;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            out << qint32(5) << qint32(1) << qint32(0) << qint32(0) << QString("evil") << key
                << filled_picture(3, 3, Qt::red);
            write_v5_button_list(out, {button_at(QPoint(5, 5), {"rig:arm"})});
        }
        h.set_file_info("QuillmarshPickerData", encode_picker_data(stream));
        h.set_file_info("QuillmarshPickerImage_" + key, encode_image(filled_picture(3, 3, Qt::red)));
        QString scene = dir.filePath("evil.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        h.drain_idle();
        run("QuillmarshPicker new_tab; QuillmarshPicker set_tab evil; QuillmarshPicker close_tab");
        h.drain_idle();
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        h.drain_idle();
        QVERIFY2(!h.node_exists("evil"), qPrintable(h.output_text()));
        QCOMPARE(h.error_count(), 0);
    }

    void testing_a_script_that_removes_the_view_is_safe_data()
    {
        QTest::addColumn<QString>("script");
        QTest::newRow("clear tabs") << "QuillmarshPicker clear_tabs";
        QTest::newRow("new scene") << "file -f -new";
    }

    void testing_a_script_that_removes_the_view_is_safe()
    {
        QFETCH(QString, script);
        run("QuillmarshPicker");
        QPointer<picker_view> view = picker_main::current_view();
        view->resize(200, 200);
        // The host drains its idle queue while the editor is open, as the
        // application does from its event loop.
        modal_helper::with_next([script, this](QWidget* dialog) {
            dialog->findChild<QTextEdit*>()->setPlainText(script);
            for (QPushButton* b : dialog->findChildren<QPushButton*>())
                if (b->text() == "Test")
                    b->click();
            h.drain_idle();
            if (QWidget* still = modal_helper::waiting_dialog())
                modal_helper::answer(still, "Cancel");
        });
        view->add_command_button();
        QVERIFY(!view || view->buttons().isEmpty());
        QVERIFY(picker_main::window_);
    }

    void the_label_field_applies_only_confirmed_edits()
    {
        run("select -r rig:arm; QuillmarshPicker; QuillmarshPicker add_button 5 5 arm;"
            "select -r rig:leg; QuillmarshPicker add_button 50 5 leg; select -r rig:arm rig:leg");
        picker_view* view = picker_main::current_view();
        QCOMPARE(int(view->buttons()[0].selected) + int(view->buttons()[1].selected), 2);
        view->update_toolbox();
        QLineEdit* field = nullptr;
        for (QLineEdit* e : window()->findChildren<QLineEdit*>())
            if (e->toolTip() == "Button Label")
                field = e;
        QVERIFY(field);
        window()->show();
        // Into the field and out again: nothing.
        field->setFocus();
        emit field->editingFinished();
        QCOMPARE(view->undoer()->count(), 0);
        // Typed, then the pointer leaves the picker: nothing either.
        QTest::keyClicks(field, "half");
        emit field->editingFinished();
        QCOMPARE(view->undoer()->count(), 0);
        QCOMPARE(view->buttons()[0].label, QString("arm"));
        // Confirmed with Return: applied to both.
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(view->undoer()->count(), 1);
        QCOMPARE(view->buttons()[1].label, QString("half"));
    }

    void random_edits_keep_scene_and_window_equal_data()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed : {1u, 7u, 42u, 2026u})
            QTest::newRow(qPrintable(QString("seed %1").arg(seed))) << seed;
    }

    void random_edits_keep_scene_and_window_equal()
    {
        QFETCH(quint32, seed);
        QRandomGenerator random(seed);
        const QStringList images = {image_file("r.png", Qt::red), image_file("g.png", Qt::green, 20, 5)};
        const QStringList nodes = {"rig:arm", "rig:leg", "rig:head", "rig:hand", "hero:arm", "hero:leg"};
        run("QuillmarshPicker");
        h.drain_idle();
        int made = 0;
        auto any_label = [&] { return QString("b%1").arg(made ? random.bounded(made) : 0); };
        for (int step = 0; step < 60; ++step) {
            QString script;
            switch (random.bounded(16)) {
            case 0:
            case 1:
                script = QString("select -r %1; QuillmarshPicker add_button %2 %3 b%4")
                             .arg(nodes[random.bounded(nodes.size())])
                             .arg(random.bounded(300)).arg(random.bounded(300)).arg(made++);
                break;
            case 2:
                script = QString("QuillmarshPicker add_cmd_button %1 %2 b%3 python \"print(1)\"")
                             .arg(random.bounded(300)).arg(random.bounded(300)).arg(made++);
                break;
            case 3: script = QString("QuillmarshPicker move_button label %1 %2 %3").arg(any_label())
                             .arg(random.bounded(300)).arg(random.bounded(300)); break;
            case 4: script = QString("QuillmarshPicker color_button label %1 %2 40 90").arg(any_label())
                             .arg(random.bounded(256)); break;
            case 5: script = QString("QuillmarshPicker delete_button label %1").arg(any_label()); break;
            case 6: script = "QuillmarshPicker new_tab"; break;
            case 7: script = random.bounded(3) ? QString("QuillmarshPicker rename_tab t%1").arg(step)
                             : random.bounded(4) ? QString("QuillmarshPicker close_tab")
                                                 : QString("QuillmarshPicker clear_tabs"); break;
            case 8: script = QString("QuillmarshPicker set_tab Untitled"); break;
            case 9: script = QString("QuillmarshPicker set_background \"%1\"").arg(images[random.bounded(2)]); break;
            case 10: script = "QuillmarshPicker clear_background"; break;
            case 11:
            case 12:
                if (picker_view* v = view())
                    random.bounded(2) ? v->undoer()->undo() : v->undoer()->redo();
                break;
            case 13:
                script = QString("select -r %1").arg(nodes[random.bounded(nodes.size())]);
                if (picker_view* v = view()) {
                    run(script);
                    script.clear();
                    v->nudge_buttons(random.bounded(5) - 2, random.bounded(5) - 2);
                }
                break;
            case 14: script = random.bounded(2) ? "QuillmarshPicker update_namespace hero"
                                                : "QuillmarshPicker update_namespace rig"; break;
            case 15: script = random.bounded(2) ? "QuillmarshPicker enable_batch_mode"
                                                : "QuillmarshPicker disable_batch_mode"; break;
            }
            if (!script.isEmpty())
                run(script);
            const auto batch = [] { return window() && window()->notices_held(); };
            if (batch() && random.bounded(4) == 0)
                run("QuillmarshPicker disable_batch_mode");
            h.drain_idle();
            if (batch())
                run("QuillmarshPicker flush");
            check_scene_holds_the_window(QString("step %1: %2").arg(step).arg(script));
            if (QTest::currentTestFailed())
                return;
        }
        reopen_and_compare("random.ma");
    }
};

QTEST_MAIN(test_scene)
#include "test_scene.moc"
