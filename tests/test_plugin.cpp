// The plug-in in the stand-in host: registration, the command and its
// directives, callbacks, selection round trips and scene storage.
#include "host_fixture.h"
#include "modal_helper.h"
#include "pkr_file.h"
#include "model/scene_data.h"


#include <maya/MQtUtil.h>

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

class test_plugin : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;

    void load()
    {
        QString error;
        QVERIFY2(load_linked_picker(h, &error), qPrintable(error));
        h.drain_idle();
    }

    // A window with the given pickers opened from files, one tab each.
    void open_pickers(const QList<QList<buttonAttributes>>& pickers)
    {
        run("QuillmarshPicker; QuillmarshPicker clear_tabs");
        QStringList paths;
        for (int i = 0; i < pickers.size(); ++i) {
            paths << dir.filePath(QString("p%1.pkr").arg(i));
            write_pkr_file(paths.last(), QString("picker%1").arg(i), pickers[i]);
        }
        QVERIFY(run(QString("QuillmarshPicker open \"%1\"").arg(paths.join("\" \""))));
        h.drain_idle();
    }

    void characters() { nodes("hero", {"arm", "leg", "head"}); }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true); // settings stay out of the user's folder
        main.resize(300, 200);
        h.set_main_window(&main);
        load();
        QVERIFY(h.interpreter().has_command("QuillmarshPicker"));
        QCOMPARE(h.callback_count("SelectionChanged"), 1);
        QCOMPARE(h.callback_count("deleteAll"), 1);
        QCOMPARE(h.callback_count("NewSceneOpened"), 1);
        QCOMPARE(h.callback_count("SceneOpened"), 1);
        QCOMPARE(h.callback_count("quitApplication"), 1);
        QCOMPARE(picker_main::path_, MString(QFileInfo("plug-ins").absoluteFilePath().toUtf8().constData()));
    }

    void init()
    {
        if (!h.plugins().contains("QuillmarshPicker"))
            load();
        h.reset();
        h.set_main_window(&main);
        // A fresh scene, as the window would see one.
        picker_main::deleteAllFn(nullptr);
        // Side patterns are kept between sessions; a test sees the defaults.
        QVERIFY(h.execute("QuillmarshPicker set_mirror_patterns -default"));
    }

    void namespace_script_lists_parents_first_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("no namespaces") << "" << QStringList{":"};
        QTest::newRow("nested") << "namespace -add b; namespace -add a; namespace -add c -p \":a\";"
                                   "namespace -add d -p \":a:c\"; namespace -add e -p \":b\";"
                                << QStringList{"b", "b:e", "a", "a:c", "a:c:d", ":"};
        // Listed from the root whatever namespace is current, and the
        // current one's children by their full names.
        QTest::newRow("current namespace inside a character")
            << "namespace -add hero; namespace -add face -p \":hero\"; namespace -add prop;"
               "namespace -set \":hero\";"
            << QStringList{"hero", "hero:face", "prop", ":"};
        QTest::newRow("current namespace deeper")
            << "namespace -add hero; namespace -add face -p \":hero\"; namespace -set \":hero:face\";"
            << QStringList{"hero", "hero:face", ":"};
    }

    void namespace_script_lists_parents_first()
    {
        QFETCH(QString, setup);
        QFETCH(QStringList, expected);
        run(setup);
        QCOMPARE(result("picker_ListNamespaces"), expected);
    }

    // A selection script job that selects through the picker while the
    // picker is selecting gets an error instead of waiting on it for ever.
    void a_selection_callback_calling_back_in_gets_an_error()
    {
        characters();
        QVERIFY(run("QuillmarshPicker"));
        QVERIFY(run("global int $calls = 0; global int $nested = 1;"
                    "scriptJob -event \"SelectionChanged\" "
                    "\"global int $calls; global int $nested; if ($calls++ == 0) "
                    "$nested = !catch(`QuillmarshPicker select hero:leg`);\""));
        const bool outer = run("QuillmarshPicker select hero:arm");
        QVERIFY(outer);
        QCOMPARE(result("global int $nested; $nested"), QStringList{"0"});
        QVERIFY2(h.output_text().contains("a selection callback cannot change it through the picker"),
                 qPrintable(h.output_text()));
        QCOMPARE(h.selection(), QStringList{"hero:arm"});
    }

    // What the buttons of the front tab show lit, by their first name.
    QStringList lit()
    {
        QStringList out;
        for (const buttonRecord& r : view()->buttons())
            if (r.selected)
                out << r.names.value(0);
        return out;
    }

    // The picker's select and clear are one step each on Maya's undo queue;
    // undo and redo bring the host's selection back and the buttons follow.
    void picker_selections_are_undo_steps()
    {
        characters();
        open_pickers({{button_at(QPoint(20, 20), {"hero:arm"}), button_at(QPoint(60, 20), {"hero:leg"})}});
        run("select -r hero:head; flushUndo");

        QVERIFY(run("QuillmarshPicker select hero:arm"));
        QCOMPARE(h.undo_steps(), 1);
        QCOMPARE(h.undo_name(), QString("QuillmarshPicker select hero:arm"));
        QCOMPARE(lit(), QStringList{"hero:arm"});
        // Directives that change only the picker are no steps.
        QVERIFY(run("QuillmarshPicker query_tabs; QuillmarshPicker rename_tab renamed"));
        h.drain_idle();
        QCOMPARE(h.undo_steps(), 1);
        run("undo");
        QCOMPARE(h.selection(), QStringList{"hero:head"});
        QCOMPARE(lit(), QStringList());
        run("redo");
        QCOMPARE(h.selection(), QStringList{"hero:arm"});
        QCOMPARE(lit(), QStringList{"hero:arm"});

        QVERIFY(run("QuillmarshPicker clear"));
        QCOMPARE(h.undo_steps(), 2);
        run("undo");
        QCOMPARE(lit(), QStringList{"hero:arm"});

        // A click reaches the host as one queued text: one step, and undo
        // takes back that click and nothing before it.
        click(view(), view()->mapToScreen(QPoint(65, 25)));
        QCOMPARE(h.idle_texts(), QStringList{"QuillmarshPicker select hero:leg"});
        h.drain_idle();
        QCOMPARE(h.selection(), QStringList{"hero:leg"});
        QCOMPARE(h.undo_steps(), 2);
        run("undo");
        h.drain_idle();
        QCOMPARE(h.selection(), QStringList{"hero:arm"});
        QCOMPARE(lit(), QStringList{"hero:arm"});
        QCOMPARE(h.undo_steps(), 1);
    }

    // A command button's script is one step, however many commands it runs
    // and whether or not it fails.
    void a_command_button_script_is_one_undo_step_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("failing");
        QTest::newRow("mel") << "mel"
                             << "createNode transform -n a1; createNode transform -n a2; select -r a1 a2;"
                             << "createNode transform -n a1; error \"stop\"; createNode transform -n a2;";
        QTest::newRow("python")
            << "python"
            << "from maya import cmds\nfor n in ('a1', 'a2'):\n    cmds.createNode('transform', n=n)\n"
               "cmds.select('a1', 'a2')"
            << "from maya import cmds\ncmds.createNode('transform', n='a1')\nraise RuntimeError('stop')";
    }

    void a_command_button_script_is_one_undo_step()
    {
        QFETCH(QString, language);
        QFETCH(QString, script);
        QFETCH(QString, failing);
        characters();
        run("QuillmarshPicker; QuillmarshPicker clear_tabs; QuillmarshPicker new_tab");
        auto quoted = [](QString text) {
            return '"' + text.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n") + '"';
        };
        QVERIFY2(run(QString("QuillmarshPicker add_cmd_button 20 20 go %1 %2;"
                             "QuillmarshPicker add_cmd_button 60 20 bad %1 %3")
                         .arg(language, quoted(script), quoted(failing))),
                 qPrintable(h.output_text()));
        run("select -r hero:head; flushUndo");
        QVERIFY(run("QuillmarshPicker press_button label go"));
        h.drain_idle();
        QCOMPARE(h.selection(), (QStringList{"a1", "a2"}));
        QCOMPARE(h.undo_steps(), 1);
        run("undo");
        QVERIFY(!h.node_exists("a1") && !h.node_exists("a2"));
        QCOMPARE(h.selection(), QStringList{"hero:head"});

        // A failing script closes its chunk: the next command is a step of
        // its own.
        run("flushUndo");
        QVERIFY(run("QuillmarshPicker press_button label bad"));
        h.drain_idle();
        QVERIFY(h.output_text().contains("stop"));
        QVERIFY(h.node_exists("a1") && !h.node_exists("a2"));
        run("select -r hero:arm");
        QCOMPARE(h.undo_steps(), 2);
        run("undo");
        QVERIFY(h.node_exists("a1"));
        run("undo");
        QVERIFY(!h.node_exists("a1"));
    }

    void opening_the_window_restores_what_the_scene_holds()
    {
        // The scene holds a picker before the window first opens.
        characters();
        run("QuillmarshPicker");
        open_pickers({{button_at(QPoint(20, 20), {"hero:arm"})}});
        h.drain_idle();
        QString data;
        QVERIFY(h.file_info("QuillmarshPickerData", &data));
        QVERIFY(h.modified());
        picker_main::cleanup();
        QVERIFY(!picker_main::window_);

        h.set_modified(false);
        run("QuillmarshPicker");
        // At once, and without touching the scene.
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"picker0"});
        h.drain_idle();
        QVERIFY(!h.modified());
        QCOMPARE(view()->buttons().size(), 1);
    }

    void select_directive_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("selected");
        QTest::newRow("first missing") << "QuillmarshPicker select ghost hero:leg"
                                       << QStringList{"hero:leg"};
        QTest::newRow("array") << "string $n[] = {\"hero:head\", \"hero:arm\"}; QuillmarshPicker select $n"
                               << QStringList{"hero:head", "hero:arm"};
        QTest::newRow("no names clears") << "QuillmarshPicker select" << QStringList{};
        QTest::newRow("in the host") << "select -add hero:leg" << QStringList{"hero:head", "hero:leg"};
    }

    void select_directive()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, selected);
        characters();
        open_pickers({{button_at(QPoint(20, 20), {"hero:arm"}), button_at(QPoint(60, 20), {"hero:leg", "hero:head"})},
                      {button_at(QPoint(20, 20), {"hero:arm", "hero:leg"})}});
        run("select -r hero:head");
        run(command);
        QCOMPARE(h.selection(), selected);
        // Every tab shows exactly what the host selected: 1 all names, 2 some.
        auto state = [&selected](const QString& a, const QString& b) {
            const int n = selected.contains(a) + selected.contains(b);
            return n == 2 ? 1 : n * 2;
        };
        QCOMPARE(int(tab(0)->buttons()[0].selected), state("hero:arm", "hero:arm"));
        QCOMPARE(int(tab(0)->buttons()[1].selected), state("hero:leg", "hero:head"));
        QCOMPARE(int(tab(1)->buttons()[0].selected), state("hero:arm", "hero:leg"));
        QCOMPARE(picker_window::selection(), selected);
        QVERIFY2(picker_main::mutex_.tryLock(), "the echo guard is released");
        picker_main::mutex_.unlock();
    }

    void select_conforms_the_views_once()
    {
        characters();
        open_pickers({{button_at(QPoint(20, 20), {"hero:arm", "hero:leg"})}});
        static int fired = 0;
        static bool held = true;
        fired = 0;
        MCallbackId id = h.add_callback("SelectionChanged", [](void*) {
            ++fired;
            // The picker's own change: its callback finds the guard taken.
            held = held && !picker_main::mutex_.tryLock();
        }, nullptr);
        const int before = window()->selection_updates();
        QVERIFY(run("QuillmarshPicker select hero:arm hero:leg"));
        h.remove_callback(id);
        QCOMPARE(fired, 2);
        QVERIFY(held);
        QCOMPARE(window()->selection_updates(), before + 1);
        QCOMPARE(int(view()->buttons()[0].selected), 1);
    }

    void opening_a_file_writes_the_scene_when_idle()
    {
        run("QuillmarshPicker; QuillmarshPicker clear_tabs");
        const QString path = dir.filePath("img.pkr");
        write_pkr_file(path, "img", {button_at(QPoint(5, 5), {"n"})}, "4242", filled_picture(6, 5, Qt::cyan));
        h.drain_idle();
        h.set_modified(false);
        run(QString("QuillmarshPicker open \"%1\"").arg(path));
        QCOMPARE(h.idle_texts(), QStringList{"QuillmarshPicker flush"}); // a script's open binds without asking
        QVERIFY(!h.modified());
        h.drain_idle();
        QVERIFY(h.file_info("QuillmarshPickerImage_4242", nullptr));
        QVERIFY(h.modified());
    }

    void damaged_scene_data_resets_the_window_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("warning");
        QTest::addColumn<QStringList>("tabs");
        QByteArray stream;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            out << qint32(5) << qint32(3) << qint32(0) << qint32(0) << QString("cut");
        }
        const QString unread = "damaged and could not be read.";
        QTest::newRow("bad base64") << "!!!*" << unread << QStringList{"Untitled"};
        QTest::newRow("not compressed") << QString(QByteArray("plain text").toBase64()) << unread
                                        << QStringList{"Untitled"};
        QTest::newRow("stream cut short") << QString(encode_picker_data(stream))
                                          << "damaged: 0 of 3 tabs were read." << QStringList{};
    }

    void damaged_scene_data_resets_the_window()
    {
        QFETCH(QString, data);
        QFETCH(QString, warning);
        QFETCH(QStringList, tabs);
        open_pickers({{button_at(QPoint(5, 5), {"a"})}});
        h.set_file_info("QuillmarshPickerData", data);
        QString scene = dir.filePath("damaged.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        h.clear_output();
        run(QString("file -f -open \"%1\"").arg(scene));
        h.drain_idle();
        QVERIFY(picker_main::window_);
        QVERIFY2(h.output_text().contains("// Warning: QuillmarshPicker - the picker data of this scene is " + warning),
                 qPrintable(h.output_text()));
        QVERIFY2(!h.modified(), "damaged data is not written over by opening it");
        QCOMPARE(result("QuillmarshPicker query_tabs"), tabs);
    }

    // Pickers whose namespaces the scene lacks are restored as they are:
    // nothing asks for a binding while the scene opens.
    void a_scene_whose_pickers_need_binding_opens_quietly()
    {
        characters();
        open_pickers({{button_at(QPoint(5, 5), {"hero:arm"})}});
        QString data;
        QVERIFY(h.file_info("QuillmarshPickerData", &data));
        h.reset();
        h.set_file_info("QuillmarshPickerData", data);
        const QString scene = dir.filePath("unbound.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        h.clear_output();
        run(QString("file -f -open \"%1\"").arg(scene));
        h.drain_idle();
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"picker0"});
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY2(h.error_count() == 0, qPrintable(h.output_text()));
    }

    void demo_scene_is_what_its_script_builds()
    {
        // What a scene's pickers hold, background keys aside.
        auto snapshot = [] {
            QStringList out;
            QTabWidget* tabs = window()->tabs();
            for (int i = 0; i < tabs->count(); ++i) {
                auto* view = qobject_cast<picker_view*>(tabs->widget(i));
                out << QString("tab %1 background %2x%3 patterns %4").arg(view->page()->name())
                           .arg(view->background().width()).arg(view->background().height())
                           .arg(view->page()->mirror_patterns().join(' '));
                for (const buttonRecord& r : view->buttons())
                    out << QString("%1,%2 %3x%4 k%5 l%6 %7 %8 '%9' %10")
                               .arg(r.pos.x()).arg(r.pos.y()).arg(r.width).arg(r.height).arg(r.kind)
                               .arg(r.language).arg(r.color & 0xffffff, 6, 16).arg(r.labelColor & 0xffffff, 6, 16)
                               .arg(r.label, r.names.join(' '));
            }
            return out;
        };
        run("QuillmarshPicker");
        h.drain_idle();
        QVERIFY(run(QString("file -f -open \"%1/examples/demo/demo.ma\"").arg(SOURCE_DIR)));
        h.drain_idle();
        const QStringList stored = snapshot();
        QCOMPARE(result("QuillmarshPicker query_tabs"), (QStringList{"hero", "sidekick", "hero_face"}));
        QCOMPARE(h.nodes().size(), 92);

        QFile script(QString("%1/examples/demo/build_demo.mel").arg(SOURCE_DIR));
        QVERIFY(script.open(QIODevice::ReadOnly));
        QVERIFY(run(QString::fromUtf8(script.readAll())));
        QVERIFY(run(QString("quillmarshBuildDemo(\"%1/examples/demo/images\")").arg(SOURCE_DIR)));
        h.drain_idle();
        QCOMPARE(h.error_count(), 0);
        const QStringList built = snapshot();
        QCOMPARE(built.size(), stored.size());
        for (int i = 0; i < built.size(); ++i)
            QCOMPARE(built[i], stored[i]);
        QCOMPARE(window()->tabs()->currentIndex(), 0);
    }

    void a_failed_selection_query_is_reported()
    {
        run("QuillmarshPicker");
        h.inject_fault(sandbox::fault::get_active_selection_list);
        run("QuillmarshPicker clear");
        QVERIFY(h.output_text().contains(
            "// Error: QuillmarshPicker- could not get the current selection: (kFailure)"));
        QVERIFY(picker_main::mutex_.tryLock());
        picker_main::mutex_.unlock();
    }

    void restore_without_data_resets()
    {
        open_pickers({{button_at(QPoint(5, 5), {"a"})}});
        QVERIFY(run("QuillmarshPicker restore"));
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"Untitled"});
        open_pickers({{button_at(QPoint(5, 5), {"a"})}});
        QVERIFY(!run("QuillmarshPicker restore \"bm90IGNvbXByZXNzZWQ=\""));
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"Untitled"});
    }

    void data_of_an_unknown_version_warns_and_is_kept_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<QString>("warning");
        QTest::newRow("zero") << 0 << "The scene file contains picker data in a format (0)";
    }

    // Opening the scene warns, and its data is never written over (as newer
    // data is not).
    void data_of_an_unknown_version_warns_and_is_kept()
    {
        QFETCH(int, version);
        QFETCH(QString, warning);
        open_pickers({{button_at(QPoint(5, 5), {"a"})}});
        h.drain_idle();
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out << qint32(version) << qint32(0) << qint32(-1);
        const QString text = QString(encode_picker_data(bytes));
        h.set_file_info("QuillmarshPickerData", text);
        const QString scene = dir.filePath("unknown.ma");
        QVERIFY(h.save_scene(scene, nullptr));
        // The data is read inside the SceneOpened callback, while Maya may
        // still be opening the file: the box waits until that is over.
        modal_helper::last_text().clear();
        bool opening = true, during = false;
        modal_helper::with_next([&](QWidget* modal) {
            during = opening;
            modal_helper::answer(modal, "OK");
        });
        h.clear_output();
        run(QString("file -f -open \"%1\"").arg(scene));
        opening = false;
        h.drain_idle();
        QTRY_VERIFY2(modal_helper::last_text().startsWith(warning), qPrintable(modal_helper::last_text()));
        QVERIFY(!during);
        QVERIFY2(h.error_count() == 0, qPrintable(h.output_text()));
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"Untitled"}); // the emptied scene's
        run("QuillmarshPicker new_tab");
        h.drain_idle();
        QString kept;
        QVERIFY(h.file_info("QuillmarshPickerData", &kept));
        QCOMPARE(kept, text);
    }

    // The demo character referenced twice: each tab of the demo's picker,
    // moved to one copy, selects and lights that copy only.
    void referenced_copies_each_have_their_picker()
    {
        const QString demo = QString("%1/examples/demo/demo.ma").arg(SOURCE_DIR);
        const QString pkr = QString("%1/examples/pickers/hero.pkr").arg(SOURCE_DIR);
        QVERIFY(run(QString("file -r -ns hero \"%1\"; file -r -ns hero \"%1\"").arg(demo)));
        QCOMPARE(h.reference_namespaces(), (QStringList{"hero", "hero1"}));
        const QString scene = dir.filePath("two_heroes.ma");
        QString error;
        QVERIFY2(h.save_scene(scene, &error), qPrintable(error));
        run("QuillmarshPicker");
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        h.drain_idle();
        // The demo's own pickers stay in the demo's file.
        QVERIFY(!result("QuillmarshPicker query_tabs").contains("sidekick"));
        QVERIFY(h.node_exists("hero1:hero:head_ctrl"));

        run("QuillmarshPicker clear_tabs");
        for (const char* copy : {"hero", "hero1"}) {
            QVERIFY(run(QString("QuillmarshPicker open \"%1\"").arg(pkr)));
            h.drain_idle();
            QVERIFY(run(QString("QuillmarshPicker rename_tab %1; QuillmarshPicker update_namespace \"%1:hero\"")
                            .arg(copy)));
        }
        QCOMPARE(h.error_count(), 0);
        auto head = [](int t) -> const buttonRecord& {
            for (const buttonRecord& r : tab(t)->buttons())
                if (r.names.value(0).endsWith(":head_ctrl"))
                    return r;
            return tab(t)->buttons().first();
        };
        QCOMPARE(head(0).names, QStringList{"hero:hero:head_ctrl"});
        QCOMPARE(head(1).names, QStringList{"hero1:hero:head_ctrl"});

        run("select -r \"hero1:hero:head_ctrl\"");
        QCOMPARE(int(head(0).selected), 0);
        QCOMPARE(int(head(1).selected), 1);

        for (int t = 0; t < 2; ++t) {
            run(QString("QuillmarshPicker set_tab %1").arg(t ? "hero1" : "hero"));
            const QPoint at = head(t).pos;
            QVERIFY(run(QString("QuillmarshPicker press_button x %1 %2").arg(at.x()).arg(at.y())));
            h.drain_idle();
            QCOMPARE(h.selection(), QStringList{t ? "hero1:hero:head_ctrl" : "hero:hero:head_ctrl"});
            QCOMPARE(int(head(t).selected), 1);
            QCOMPARE(int(head(1 - t).selected), 0);
        }
    }

    // Two `ctl` in two groups: a button lights for its own, whichever
    // path it was bound by and however the host names the selection.
    void buttons_bound_by_path_light_for_their_object()
    {
        run("createNode transform -n grp1; createNode transform -n grp2;"
            "createNode transform -n ctl -p grp1; createNode transform -n ctl -p grp2; select -cl");
        open_pickers({{button_at(QPoint(20, 20), {"grp1|ctl"}), button_at(QPoint(60, 20), {"|grp2|ctl"}),
                       button_at(QPoint(100, 20), {"ctl"})}});
        auto lit = [] {
            QString out;
            for (const buttonRecord& r : view()->buttons())
                out += QString::number(r.selected);
            return out;
        };
        run("select -r \"grp1|ctl\"");
        QCOMPARE(lit(), QString("100"));
        run("select -r \"|grp2|ctl\"");
        QCOMPARE(lit(), QString("010"));
        // A click selects exactly the button's object.
        QVERIFY(run("QuillmarshPicker press_button x 20 20"));
        h.drain_idle();
        QCOMPARE(h.selection(true), QStringList{"|grp1|ctl"});
        QCOMPARE(lit(), QString("100"));

        // With grp1 gone the host calls the other one plain `ctl`: the
        // buttons bound by its path and by its name light, grp1's does not.
        run("delete grp1; select -r \"grp2|ctl\"");
        QCOMPARE(h.selection(), QStringList{"ctl"});
        QCOMPARE(lit(), QString("011"));
        // Dropping it from the picker drops it from the host.
        QVERIFY(run("QuillmarshPicker press_button x 60 20"));
        h.drain_idle();
        QCOMPARE(h.selection(), QStringList{"ctl"});
        QCOMPARE(lit(), QString("011"));
        click(view(), view()->mapToScreen(QPoint(60, 20)), Qt::ShiftModifier);
        h.drain_idle();
        QCOMPARE(lit(), QString("000"));
        QCOMPARE(h.selection(), QStringList{});
    }

    void fetch_image_sets_matching_backgrounds()
    {
        run("QuillmarshPicker; QuillmarshPicker clear_tabs");
        const png_picture back = filled_picture(4, 4, Qt::red);
        QString path = dir.filePath("a.pkr");
        write_pkr_file(path, "a", {button_at(QPoint(5, 5), {"x"})}, "4242", back);
        run(QString("QuillmarshPicker open \"%1\" \"%1\"").arg(path));
        run("QuillmarshPicker new_tab");
        const png_picture fresh = filled_picture(9, 9, Qt::blue);
        QVERIFY(run(QString("QuillmarshPicker fetch_image 4242 \"%1\"").arg(QString(encode_image(fresh)))));
        QCOMPARE(tab(0)->background().size(), QSize(9, 9));
        QCOMPARE(tab(1)->background().size(), QSize(9, 9));
        QVERIFY(tab(2)->background().isNull());
        QVERIFY(!run("QuillmarshPicker fetch_image 4242 \"\""));
        QVERIFY(run("QuillmarshPicker fetch_image 4242"));
    }

    void tab_directives()
    {
        run("QuillmarshPicker; QuillmarshPicker clear_tabs");
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList());
        run("QuillmarshPicker new_tab; QuillmarshPicker rename_tab body; QuillmarshPicker new_tab;"
            "QuillmarshPicker rename_tab body; QuillmarshPicker new_tab; QuillmarshPicker rename_tab \"\"");
        QCOMPARE(result("QuillmarshPicker query_tabs"), (QStringList{"body", "body", "Untitled"}));
        run("QuillmarshPicker set_tab body");
        QCOMPARE(window()->tabs()->currentIndex(), 1); // the last of that name
    }

    void window_geometry_settings_data()
    {
        QTest::addColumn<QSize>("stored");
        QTest::addColumn<QPoint>("position"); // null: centred on the screen
        QTest::addColumn<QSize>("size");
        QTest::newRow("narrow and low") << QSize(100, 100) << QPoint(10, 10) << QSize(150, 150);
        QTest::newRow("off the screen") << QSize(200, 160) << QPoint() << QSize(200, 160);
    }

    void window_geometry_settings()
    {
        QFETCH(QSize, stored);
        QFETCH(QPoint, position);
        QFETCH(QSize, size);
        picker_main::cleanup();
        {
            QSettings settings("Quillmarsh", "picker");
            settings.setValue("pickerSize", stored);
            settings.setValue("pickerPosition", position.isNull() ? QPoint(90000, 90000) : position);
        }
        run("QuillmarshPicker");
        // The floating control is the window that has the size and place.
        QWidget* control = picker_main::window_->window();
        QCOMPARE(control->size(), size);
        QRect centred(QPoint(0, 0), size);
        centred.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
        QCOMPARE(control->pos(), position.isNull() ? centred.topLeft() : position);

        // Quitting stores what the window has now.
        control->resize(333, 222);
        control->move(20, 30);
        h.quit();
        QVERIFY(!picker_main::window_);
        QSettings settings("Quillmarsh", "picker");
        QCOMPARE(settings.value("pickerSize").toSize(), QSize(333, 222));
        QCOMPARE(settings.value("pickerPosition").toPoint(), QPoint(20, 30));
    }

    void command_opens_a_floating_control_that_fits_the_toolbox()
    {
        picker_main::cleanup();
        {
            QSettings settings("Quillmarsh", "picker");
            settings.remove("pickerSize");
            settings.remove("pickerPosition");
        }
        run("QuillmarshPicker");
        // The window lives in Maya's workspace control, which floats at first.
        auto* dock = main.findChild<QDockWidget*>(picker_main::control_name);
        QVERIFY(dock);
        QVERIFY(dock->isFloating());
        QCOMPARE(dock->windowTitle(), QString("Quillmarsh Picker"));
        QVERIFY(MQtUtil::findControl(picker_main::control_name)->isAncestorOf(picker_main::window_));
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"Untitled"});
        QWidget* window = picker_main::window_;
        QVERIFY(QTest::qWaitForWindowExposed(dock));
        QVERIFY(dock->height() >= 400);
        // Every control of the toolbox gets the room it asks for.
        int controls = 0;
        for (QWidget* w : window->findChildren<QWidget*>()) {
            if (!qobject_cast<QPushButton*>(w) && !qobject_cast<QLabel*>(w) && !qobject_cast<QLineEdit*>(w))
                continue;
            if (!w->isVisible())
                continue;
            ++controls;
            const QRect placed(w->mapTo(window, QPoint(0, 0)), w->size());
            QVERIFY2(window->rect().contains(placed), qPrintable(w->objectName() + " " + w->toolTip()));
            QVERIFY2(w->width() >= w->minimumSizeHint().width(), qPrintable(w->toolTip()));
        }
        QVERIFY(controls >= 6);
    }

    // File > Exit Picker closes the control and keeps the window; the
    // command shows that same window again with its tabs.
    void exit_closes_the_control_and_the_command_reopens_it()
    {
        run("QuillmarshPicker; QuillmarshPicker new_tab");
        const QStringList tabs = result("QuillmarshPicker query_tabs");
        QPointer<QWidget> window = picker_main::window_;
        QAction* exit = nullptr;
        for (QAction* a : window->findChildren<QAction*>())
            if (a->text() == "Exit Picker")
                exit = a;
        QVERIFY(exit);
        exit->trigger();
        const QString visible = QString("workspaceControl -q -visible %1").arg(picker_main::control_name);
        QCOMPARE(result(visible), QStringList{"0"});
        QVERIFY(window);
        run("QuillmarshPicker");
        QCOMPARE(result(visible), QStringList{"1"});
        QCOMPARE(static_cast<QWidget*>(picker_main::window_), window.data());
        QCOMPARE(result("QuillmarshPicker query_tabs"), tabs);
    }

    // Counts of every event the plug-in listens to.
    QList<int> callback_counts() const
    {
        QList<int> counts;
        for (const char* event : {"SelectionChanged", "quitApplication", "deleteAll", "NewSceneOpened",
                                  "SceneOpened", sandbox::scene_events::before_save})
            counts << h.callback_count(event);
        return counts;
    }

    // A failed removal is reported, the other callbacks and the command go
    // all the same, and the plug-in stays loaded (as Maya keeps it) until a
    // second unload removes what is left. A command that cannot be deregistered does not
    // keep the callbacks installed either.
    void unloading_reports_each_failed_removal()
    {
        run("QuillmarshPicker");
        const QList<int> none = {0, 0, 0, 0, 0, 0};
        h.inject_fault(sandbox::fault::remove_callback, 1);
        QString error;
        QVERIFY(!h.unload_plugin("QuillmarshPicker", &error));
        QVERIFY(!picker_main::window_);
        QString out = h.output_text();
        QVERIFY(out.contains("// Error: QuillmarshPicker - could not remove the quitApplicaiton callback: (kFailure) "));
        QCOMPARE(out.count("could not remove"), 1);
        QCOMPARE(callback_counts(), (QList<int>{0, 1, 0, 0, 0, 0}));
        QVERIFY(h.plugins().contains("QuillmarshPicker"));
        QVERIFY(h.unload_plugin("QuillmarshPicker", &error));
        QCOMPARE(callback_counts(), none);
        QVERIFY(!h.interpreter().has_command("QuillmarshPicker"));

        load();
        h.clear_output();
        h.inject_fault(sandbox::fault::deregister_command);
        QVERIFY(!h.unload_plugin("QuillmarshPicker", &error));
        QVERIFY(h.output_text().contains("// Error: QuillmarshPicker - could not deregister the plugin: (kFailure) "));
        QCOMPARE(callback_counts(), none);
        QVERIFY(h.unload_plugin("QuillmarshPicker", &error));
        QVERIFY(!h.interpreter().has_command("QuillmarshPicker"));
        QVERIFY2(!h.output_text().contains("left"), qPrintable(h.output_text()));
    }

    void registration_failures_are_reported_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<int>("after");
        QTest::addColumn<QString>("message");
        QTest::newRow("command") << int(sandbox::fault::register_command) << 0
                                 << "could not initialize the plugin";
        QTest::newRow("selection") << int(sandbox::fault::add_event_callback) << 0
                                   << "could not install SelectionChanged callback";
        QTest::newRow("third") << int(sandbox::fault::add_event_callback) << 2
                               << "could not install the deleteAll callback";
        QTest::newRow("before save") << int(sandbox::fault::add_event_callback) << 5
                                     << "could not install the BeforeSave callback";
    }

    // A failed initialisation says what failed and undoes the rest itself:
    // the host finds nothing of it left behind, and it loads again.
    void registration_failures_are_reported()
    {
        QFETCH(int, which);
        QFETCH(int, after);
        QFETCH(QString, message);
        QString error;
        QVERIFY(h.unload_plugin("QuillmarshPicker", &error));
        const QList<int> before = callback_counts();
        h.clear_output();
        h.inject_fault(sandbox::fault(which), after);
        QVERIFY(!load_linked_picker(h, &error));
        QVERIFY2(h.output_text().contains("// Error: QuillmarshPicker - " + message + ": (kFailure) "),
                 qPrintable(h.output_text()));
        QVERIFY2(!h.output_text().contains("left"), qPrintable(h.output_text()));
        QCOMPARE(h.error_count(), 1);
        QCOMPARE(callback_counts(), before);
        QVERIFY(!h.interpreter().has_command("QuillmarshPicker"));
        load();
        QCOMPARE(callback_counts(), (QList<int>{1, 1, 1, 1, 1, 1}));
    }
};

QTEST_MAIN(test_plugin)
#include "test_plugin.moc"
