// The stand-in host behaves like the part of Maya the plug-in relies on.
#include <sandbox/host.h>

#include <maya/MArgList.h>
#include <maya/MEventMessage.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MPxCommand.h>
#include <maya/MMessage.h>
#include <maya/MSelectionList.h>
#include <maya/MStringArray.h>
#include <maya/MItSelectionList.h>
#include <maya/MQtUtil.h>

#include <QApplication>
#include <QFile>
#include <QMainWindow>
#include <QMessageBox>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <dlfcn.h>

using sandbox::host;

namespace {

QStringList events_seen;

void record_event(void* name)
{
    events_seen << *static_cast<QString*>(name);
}

QStringList strings(const mel::value& v)
{
    return v.to_strings();
}

bool log_contains(const QString& text)
{
    return host::instance().output_text().contains(text);
}

// A plug-in linked into the test that leaves everything it adds behind: a
// callback from its initializePlugin, one from its command, one from its
// callback, and its command.
namespace leaky {

int calls = 0;

void on_event(void*)
{
    if (calls++ == 0)
        MEventMessage::addEventCallback("deleteAll", on_event, nullptr);
}

struct command : MPxCommand {
    static void* create() { return new command; }
    MStatus doIt(const MArgList&) override
    {
        MStatus status;
        MEventMessage::addEventCallback("SelectionChanged", on_event, nullptr, &status);
        return status;
    }
};

MStatus initialize(MObject obj)
{
    MFnPlugin plugin(obj);
    MStatus status;
    MEventMessage::addEventCallback("SceneOpened", on_event, nullptr, &status);
    return status ? plugin.registerCommand("leakyCommand", command::create) : status;
}

MStatus uninitialize(MObject)
{
    return MStatus::kSuccess;
}

} // namespace leaky

// Whether the module at `path` is mapped into the process.
bool mapped(const QString& path)
{
    QFile maps("/proc/self/maps");
    if (!maps.open(QIODevice::ReadOnly | QIODevice::Text))
        return true;
    return QString::fromLocal8Bit(maps.readAll()).contains(QFileInfo(path).canonicalFilePath());
}

} // namespace

class test_sandbox : public QObject {
    Q_OBJECT

    host& h = host::instance();

    mel::value run(const QString& text, bool expect_ok = true)
    {
        mel::value result;
        bool ok = h.execute(text, &result);
        if (ok != expect_ok)
            qWarning().noquote() << "script output:\n" << h.output_text();
        [&] { QCOMPARE(ok, expect_ok); }();
        return result;
    }

    void build_characters()
    {
        run("namespace -add hero; namespace -add sidekick;"
            "createNode transform -n \"hero:L_arm_ctrl\";"
            "createNode transform -n \"hero:R_arm_ctrl\";"
            "createNode transform -n \"hero:body\";"
            "createNode transform -n \"sidekick:L_arm_ctrl\";"
            "createNode transform -n \"root_ctrl\";"
            "select -cl;");
    }

private slots:
    void init()
    {
        h.reset();
        events_seen.clear();
    }

    void cleanup()
    {
        if (h.plugins().contains("quillEcho")) {
            h.clear_faults();
            QString error;
            QVERIFY2(h.unload_plugin("quillEcho", &error), qPrintable(error));
        }
    }

    void file_info_set_query_remove()
    {
        run("fileInfo \"first\" \"1\"; fileInfo \"second\" \"two\"; fileInfo \"first\" \"one\";");
        QCOMPARE(strings(run("fileInfo -q \"first\"")), QStringList{"one"});
        QCOMPARE(strings(run("fileInfo -q")), (QStringList{"first", "one", "second", "two"}));
        QCOMPARE(strings(run("fileInfo -q \"missing\"")), QStringList());
        run("fileInfo -rm \"first\"");
        QCOMPARE(strings(run("fileInfo -q")), (QStringList{"second", "two"}));

        QCOMPARE(run("file -q -modified").to_int(), 0);
        run("file -modified 1");
        QVERIFY(h.modified());
        QCOMPARE(run("file -q -modified").to_int(), 1);
    }

    void select_by_name_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("selected"); // empty: no match, the selection stays as it was
        QTest::newRow("exact") << "hero:body" << QStringList{"hero:body"};
        QTest::newRow("absolute") << ":hero:body" << QStringList{"hero:body"};
        QTest::newRow("wildcard") << "hero:*_arm_ctrl"
                                  << QStringList{"hero:L_arm_ctrl", "hero:R_arm_ctrl"};
        QTest::newRow("wildcard namespace") << "*:L_arm_ctrl"
                                            << QStringList{"hero:L_arm_ctrl", "sidekick:L_arm_ctrl"};
        QTest::newRow("no colon means root only") << "*ctrl" << QStringList{"root_ctrl"};
        QTest::newRow("question mark") << "hero:?_arm_ctrl"
                                       << QStringList{"hero:L_arm_ctrl", "hero:R_arm_ctrl"};
        QTest::newRow("component") << "hero:body.vtx[0:3]" << QStringList{"hero:body.vtx[0:3]"};
        QTest::newRow("missing node") << "hero:nothing" << QStringList();
        QTest::newRow("missing namespace") << "villain:L_arm_ctrl" << QStringList();
        QTest::newRow("pattern without match") << "zz*" << QStringList();
        QTest::newRow("component of missing node") << "ghost.vtx[1]" << QStringList();
        QTest::newRow("blank") << "hero:L arm" << QStringList();
    }

    void select_by_name()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, selected);
        build_characters();
        run("select -r root_ctrl");
        h.clear_output();
        QCOMPARE(MGlobal::selectByName(MString(name.toUtf8().constData()), MGlobal::kReplaceList),
                 MStatus(selected.isEmpty() ? MStatus::kFailure : MStatus::kSuccess));
        QCOMPARE(h.selection(), selected.isEmpty() ? QStringList{"root_ctrl"} : selected);
        QCOMPARE(h.output().size(), 0);
    }

    void selection_adjustments()
    {
        build_characters();
        MGlobal::selectByName("hero:body", MGlobal::kReplaceList);
        MGlobal::selectByName("root_ctrl", MGlobal::kAddToList);
        QCOMPARE(h.selection(), (QStringList{"hero:body", "root_ctrl"}));
        MGlobal::selectByName("hero:L_arm_ctrl", MGlobal::kAddToHeadOfList);
        QCOMPARE(h.selection(), (QStringList{"hero:L_arm_ctrl", "hero:body", "root_ctrl"}));
        MGlobal::selectByName("hero:body", MGlobal::kXORWithList);
        MGlobal::selectByName("sidekick:L_arm_ctrl", MGlobal::kXORWithList);
        QCOMPARE(h.selection(), (QStringList{"hero:L_arm_ctrl", "root_ctrl", "sidekick:L_arm_ctrl"}));
        MGlobal::selectByName("*:L_arm_ctrl", MGlobal::kRemoveFromList);
        QCOMPARE(h.selection(), QStringList{"root_ctrl"});

        // The MEL command refuses the whole list when one name matches nothing.
        run("select -add hero:body ghost", false);
        QVERIFY(log_contains("select: No object matches name: ghost"));
        QCOMPARE(h.selection(), QStringList{"root_ctrl"});
        run("select -tgl hero:body root_ctrl");
        QCOMPARE(strings(run("ls -sl")), QStringList{"hero:body"});
        run("select -cl");
        QVERIFY(h.selection().isEmpty());
    }

    void events_fire_in_order_once_each()
    {
        static QString names[] = {"SelectionChanged", "SceneOpened", "NewSceneOpened", "deleteAll",
                           "quitApplication"};
        QVector<MCallbackId> ids;
        for (QString& name : names) {
            MStatus status;
            ids << MEventMessage::addEventCallback(name.toUtf8().constData(), record_event, &name,
                                                   &status);
            QVERIFY(status);
        }
        MStatus status;
        QCOMPARE(MEventMessage::addEventCallback("noSuchEvent", record_event, nullptr, &status),
                 MCallbackId(0));
        QCOMPARE(status, MStatus(MStatus::kUnknownParameter));

        build_characters();
        events_seen.clear();
        run("select -r hero:body");
        run("select -r hero:body"); // unchanged: no event
        run("select -add \"hero:*_arm_ctrl\"");
        QCOMPARE(events_seen, (QStringList{"SelectionChanged", "SelectionChanged"}));

        events_seen.clear();
        run("file -f -new");
        QCOMPARE(events_seen, (QStringList{"deleteAll", "NewSceneOpened"}));
        QVERIFY(h.selection().isEmpty());

        QTemporaryDir dir;
        QString path = dir.filePath("scene.ma");
        run("createNode transform -n a -ss");
        QVERIFY(h.save_scene(path, nullptr));
        events_seen.clear();
        run(QString("file -f -open \"%1\"").arg(path));
        QCOMPARE(events_seen, (QStringList{"deleteAll", "SceneOpened"}));
        QCOMPARE(h.nodes(), QStringList{"a"});

        events_seen.clear();
        h.quit();
        QCOMPARE(events_seen, QStringList{"quitApplication"});

        for (MCallbackId id : ids)
            QCOMPARE(MMessage::removeCallback(id), MStatus(MStatus::kSuccess));
        QCOMPARE(MMessage::removeCallback(ids[0]), MStatus(MStatus::kInvalidParameter));
        h.quit();
        QCOMPARE(events_seen, QStringList{"quitApplication"});
    }

    void unsaved_changes_block_new_and_open_without_force()
    {
        run("createNode transform -n keep; file -modified 1");
        run("file -new", false);
        QVERIFY(log_contains("file: Unsaved changes."));
        QVERIFY(h.node_exists("keep"));
        run("file -open \"/nonexistent/x.ma\"", false);
        QVERIFY(h.node_exists("keep"));
        run("file -f -open \"/nonexistent/x.ma\"", false);
        QVERIFY2(h.node_exists("keep"), "a file that cannot be read leaves the scene alone");
    }

    void idle_queue_runs_in_order()
    {
        run(R"(
            global string $trail = "";
            global proc step(string $s) {
                global string $trail;
                $trail += $s;
                if ($s == "A") evalDeferred "step C";
            }
            evalDeferred "step A";
            evalDeferred "step B";
        )");
        QCOMPARE(h.idle_pending(), 2);
        QCOMPARE(h.drain_idle(), 3);
        QCOMPARE(run("global string $trail; $trail").to_string(), QString("ABC"));
        QCOMPARE(h.idle_pending(), 0);

        h.queue_idle("print \"mel\"", false, true);
        h.queue_idle("import maya.cmds", true, false);
        h.drain_idle();
        QVERIFY(log_contains("print \"mel\"\nmel\n# python: import maya.cmds"));
    }

    void idle_queue_stops_a_runaway()
    {
        run("global proc again() { evalDeferred \"again\"; } evalDeferred \"again\";");
        QCOMPARE(h.drain_idle(), host::max_idle_drain);
        QCOMPARE(h.idle_pending(), 0);
        QVERIFY(log_contains("Idle queue stopped after 10000 commands"));
    }

    void scene_round_trip_is_identical()
    {
        QString base64;
        QByteArray bytes(300000, Qt::Uninitialized);
        QRandomGenerator rng(7);
        for (char& c : bytes)
            c = char(rng.bounded(256));
        base64 = QString::fromLatin1(bytes.toBase64());

        run("namespace -add hero; namespace -add face -parent \":hero\"; namespace -add sidekick;");
        run("createNode transform -n \"hero:face:jaw\"; createNode joint -n \"sidekick:spine\";"
            "createNode transform -n plain;");
        h.set_file_info("QuillmarshPickerData", base64);
        h.set_file_info("tricky", "quote \" backslash \\ newline \n tab \t end\\");
        h.set_file_info("empty", "");

        QTemporaryDir dir;
        QString first = dir.filePath("first.ma");
        QString error;
        QVERIFY2(h.save_scene(first, &error), qPrintable(error));
        const QString text = h.scene_text();
        const auto info = h.file_info_table();

        h.new_scene();
        QVERIFY(h.nodes().isEmpty());
        QVERIFY2(h.open_scene(first, &error), qPrintable(error));
        QCOMPARE(h.file_info_table(), info);
        QCOMPARE(h.nodes(), (QStringList{"hero:face:jaw", "sidekick:spine", "plain"}));
        QCOMPARE(h.node_type("sidekick:spine"), QString("joint"));
        QCOMPARE(h.all_namespaces(), (QStringList{"UI", "shared", "hero", "hero:face", "sidekick"}));
        QCOMPARE(h.scene_text(), text);
        QVERIFY(!h.modified());
        QVERIFY(h.selection().isEmpty());

        QVERIFY(h.save_scene(QString(), &error));
        QFile saved(first);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(saved.readAll()), text);
    }

    void namespaces_and_nodes_follow_maya_rules()
    {
        run("namespace -add hero");
        run("namespace -add hero", false);
        QVERIFY(log_contains("already exists"));
        run("namespace -add \"bad name\"", false);
        run("namespace -add x -parent \":nowhere\"", false);
        QCOMPARE(run("namespace -exists hero").to_int(), 1);
        QCOMPARE(run("namespace -exists UI").to_int(), 1);

        // Taken names get the next free number; illegal characters become '_'.
        QCOMPARE(run("createNode transform -n \"hero:arm1\"").to_string(), QString("hero:arm1"));
        QCOMPARE(run("createNode transform -n \"hero:arm1\"").to_string(), QString("hero:arm2"));
        QCOMPARE(run("createNode transform -n \"bad name;\"").to_string(), QString("bad_name_"));
        run("createNode transform -n \"villain:arm\"", false);

        run("namespace -set hero");
        QCOMPARE(run("namespaceInfo -cur").to_string(), QString("hero"));
        QCOMPARE(run("createNode transform -n leg").to_string(), QString("hero:leg"));
        run("namespace -set \":\"");
        QCOMPARE(strings(run("namespaceInfo -lon")), (QStringList{"UI", "shared", "hero"}));
        QCOMPARE(strings(run("ls \"hero:*\"")), (QStringList{"hero:arm1", "hero:arm2", "hero:leg"}));
        QCOMPARE(strings(run("ls -type joint")), QStringList());
    }

    void plugin_commands_take_strings_and_arrays_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("received");
        QTest::newRow("plain") << "quillEcho echo a hero:b.vtx[1] -3 2.5"
                               << QStringList{"s:a", "s:hero:b.vtx[1]", "s:-3", "s:2.5"};
        QTest::newRow("quoted") << "quillEcho \"echo\" \"two words\" \"\""
                                << QStringList{"s:two words", "s:"};
        QTest::newRow("array variable") << "string $a[] = {\"x\", \"y z\"}; quillEcho echo $a"
                                        << QStringList{"a2:x,y z"};
        QTest::newRow("back-quoted array") << "quillEcho echo `ls \"hero:*_arm_ctrl\"`"
                                           << QStringList{"a2:hero:L_arm_ctrl,hero:R_arm_ctrl"};
        QTest::newRow("empty array") << "quillEcho echo `ls \"nothing*\"`" << QStringList{"a0:"};
        QTest::newRow("array among strings") << "string $a[] = {\"p\"}; quillEcho echo first $a last"
                                             << QStringList{"s:first", "a1:p", "s:last"};
        QTest::newRow("function syntax") << "quillEcho(\"echo\", \"f\", 7)"
                                         << QStringList{"s:f", "s:7"};
        QTest::newRow("nested call") << "quillEcho echo `quillEcho run \"ls -sl\"`"
                                     << QStringList{"a1:root_ctrl"};
        QTest::newRow("empty arrays around an empty string") << "string $none[]; quillEcho echo $none \"\" $none"
                                                             << QStringList{"a0:", "s:", "a0:"};
    }

    void plugin_commands_take_strings_and_arrays()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, received);
        QString name, error;
        QVERIFY2(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error), qPrintable(error));
        build_characters();
        run("select root_ctrl");
        QCOMPARE(strings(run(script)), received);
    }

    void plugin_loads_runs_and_unloads()
    {
        QString name, error;
        QVERIFY2(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error), qPrintable(error));
        QCOMPARE(name, QString("quillEcho"));
        QVERIFY(log_contains("quillEcho loaded from " + QFileInfo(ECHO_PLUGIN_PATH).absolutePath()));
        QCOMPARE(h.callback_count("SelectionChanged"), 1);

        QCOMPARE(run("quillEcho").to_string(), QString("ready"));
        mel::value single = run("quillEcho single word");
        QCOMPARE(single.type(), mel::value::string);
        QCOMPARE(single.to_string(), QString("word"));

        run("quillEcho fail; print \"not reached\";", false);
        QVERIFY(log_contains("// Error: quillEcho - asked to fail"));
        QVERIFY(!log_contains("not reached"));

        // Callbacks reach the plug-in, once per change.
        build_characters();
        run("quillEcho events");
        run("select hero:body; select -add root_ctrl; select -add root_ctrl");
        QCOMPARE(strings(run("quillEcho events")),
                 (QStringList{"SelectionChanged", "SelectionChanged"}));
        QCOMPARE(strings(run("quillEcho selection")), (QStringList{"hero:body", "root_ctrl"}));
        run("quillEcho select ghost hero:L_arm_ctrl root_ctrl");
        QCOMPARE(h.selection(), (QStringList{"hero:L_arm_ctrl", "root_ctrl"}));

        // A plug-in queues work for idle time; it runs on the next drain.
        run("quillEcho idle \"createNode transform -n later\"");
        QVERIFY(!h.node_exists("later"));
        h.drain_idle();
        QVERIFY(h.node_exists("later"));

        QVERIFY2(h.unload_plugin("quillEcho", &error), qPrintable(error));
        QCOMPARE(h.callback_count("SelectionChanged"), 0);
        run("quillEcho", false);
        QVERIFY(log_contains("Cannot find procedure \"quillEcho\"."));

        // Loading again brings the command back, also through MEL.
        QCOMPARE(strings(run(QString("loadPlugin \"%1\"").arg(ECHO_PLUGIN_PATH))),
                 QStringList{"quillEcho"});
        QCOMPARE(run("quillEcho").to_string(), QString("ready"));
        run("unloadPlugin quillEcho");
        QVERIFY(h.plugins().isEmpty());
    }

    void loading_what_is_not_a_plugin_fails_cleanly()
    {
        QTemporaryDir dir;
        QString text = dir.filePath("notes.so");
        QFile file(text);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a library");
        file.close();
        QString name, error;
        QVERIFY(!h.load_plugin(text, &name, &error));
        QVERIFY(error.contains("Could not load"));
        QVERIFY(!h.load_plugin(dir.filePath("missing.so"), &name, &error));
        QVERIFY(error.contains("not found"));
        run("unloadPlugin nothing", false);
        QVERIFY(log_contains("Plug-in \"nothing\" is not loaded."));
        QVERIFY(h.plugins().isEmpty());

        // A plug-in whose host calls fail in its initializePlugin: nothing it
        // registered survives it.
        for (auto [which, after] : {std::pair{sandbox::fault::register_command, 0},
                                    {sandbox::fault::add_event_callback, 0}, {sandbox::fault::add_event_callback, 1}}) {
            h.inject_fault(which, after);
            QVERIFY(!h.load_plugin(ECHO_PLUGIN_PATH, &name, &error));
            QCOMPARE(error, QString("initializePlugin function failed (quillEcho)"));
            // The fixture gives up without undoing what it did: the host
            // says what it removed.
            QCOMPARE(log_contains("// Error: plug-in quillEcho left 1 command registered after its "
                                  "initializePlugin failed (quillEcho); the host removed it."),
                     which == sandbox::fault::add_event_callback);
            QCOMPARE(log_contains("// Error: plug-in quillEcho left 1 callback installed after its "
                                  "initializePlugin failed (SelectionChanged); the host removed it."),
                     after == 1);
            h.clear_output();
            QVERIFY(!h.interpreter().has_command("quillEcho"));
            QCOMPARE(h.callback_count("SelectionChanged"), 0);
            QCOMPARE(h.callback_count("SceneOpened"), 0);
            QVERIFY(h.plugins().isEmpty());
        }
    }

    void faults_in_selection_and_removal()
    {
        QString name, error;
        QVERIFY(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error));
        build_characters();
        run("select hero:body");
        h.inject_fault(sandbox::fault::get_active_selection_list);
        run("quillEcho selection", false);
        QCOMPARE(strings(run("quillEcho selection")), QStringList{"hero:body"});

        h.inject_fault(sandbox::fault::select_by_name);
        QCOMPARE(MGlobal::selectByName("root_ctrl", MGlobal::kReplaceList), MStatus(MStatus::kFailure));
        QCOMPARE(h.selection(), QStringList{"hero:body"});

        // A callback the plug-in failed to remove is dropped at unload, so
        // the host never calls into an unloaded module.
        h.inject_fault(sandbox::fault::remove_callback);
        QVERIFY(h.unload_plugin("quillEcho", &error));
        QVERIFY2(log_contains("// Error: plug-in quillEcho left 1 callback installed at unload "
                              "(SelectionChanged); the host removed it."), qPrintable(h.output_text()));
        QCOMPARE(h.callback_count("SelectionChanged"), 0);
        run("select root_ctrl");
    }

    // What a plug-in leaves installed at unload is an error and is removed,
    // so the host never calls into a module that is gone; what the host's
    // own code (here the test) installed stays.
    void leftovers_at_unload_are_reported_and_removed()
    {
        QString name, error;
        QString own = "test";
        const MCallbackId test_id = MEventMessage::addEventCallback("SceneOpened", record_event, &own);
        QVERIFY(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error));
        run("quillEcho leak");
        QVERIFY(h.unload_plugin("quillEcho", &error));
        QVERIFY2(log_contains("// Error: plug-in quillEcho left 3 callbacks installed at unload "
                              "(SelectionChanged, SceneOpened, SceneOpened); the host removed them."),
                 qPrintable(h.output_text()));
        QVERIFY(log_contains("// Error: plug-in quillEcho left 1 command registered at unload (quillEcho); "
                             "the host removed it."));
        QVERIFY(!h.interpreter().has_command("quillEcho"));
        QCOMPARE(h.callback_count("SelectionChanged"), 0);
        QCOMPARE(h.callback_count("SceneOpened"), 1);
        h.fire("SceneOpened");
        QCOMPARE(events_seen, QStringList{"test"});

        // Linked code has no module to tell it apart: what runs inside the
        // plug-in's initializePlugin, command or callback is the plug-in's.
        h.clear_output();
        events_seen.clear();
        QVERIFY(h.load_linked_plugin("leaky", "leaky.so", reinterpret_cast<void*>(&leaky::initialize),
                                     reinterpret_cast<void*>(&leaky::uninitialize), &error));
        run("leakyCommand");
        h.fire("SceneOpened");
        QCOMPARE(events_seen, QStringList{"test"});
        QVERIFY(h.unload_plugin("leaky", &error));
        QVERIFY2(log_contains("// Error: plug-in leaky left 3 callbacks installed at unload "
                              "(SceneOpened, SelectionChanged, deleteAll); the host removed them."),
                 qPrintable(h.output_text()));
        QVERIFY(log_contains("// Error: plug-in leaky left 1 command registered at unload (leakyCommand)"));
        QCOMPARE(h.callback_count("SceneOpened"), 1);
        QCOMPARE(h.callback_count("deleteAll"), 0);
        QVERIFY(MMessage::removeCallback(test_id));
    }

    // A dialog waiting for the user inside a callback is an error; outside
    // one it is the plug-in's own business.
    void a_dialog_inside_a_callback_is_an_error()
    {
        auto ask = [](void*) {
            QMessageBox box(QMessageBox::Warning, "Asks", "Sure?", QMessageBox::Ok);
            QTimer::singleShot(0, &box, &QDialog::accept);
            box.exec();
        };
        const MCallbackId id = MEventMessage::addEventCallback("SceneOpened", ask, nullptr);
        h.fire("SceneOpened");
        QVERIFY(MMessage::removeCallback(id));
        QVERIFY2(log_contains("// Error: a modal dialog (\"Asks\") opened inside a SceneOpened callback"),
                 qPrintable(h.output_text()));
        h.clear_output();
        ask(nullptr);
        QCOMPARE(h.error_count(), 0);
    }

    // Unloading the picker takes its module out of the process, with its
    // resources and statics; loading it again starts afresh.
    void the_picker_module_goes_at_unload_and_comes_back_fresh()
    {
        QMainWindow main;
        h.set_main_window(&main);
        const QString path = PICKER_PLUGIN_PATH;
        QString name, error;
        for (int round = 0; round < 2; ++round) {
            QVERIFY2(h.load_plugin(path, &name, &error), qPrintable(error));
            QVERIFY(mapped(path));
            h.drain_idle(); // the namespace script, from the module's resources
            QCOMPARE(strings(run("picker_ListNamespaces")), QStringList{":"});
            run("QuillmarshPicker");
            QCOMPARE(strings(run("QuillmarshPicker query_tabs")), QStringList{"Untitled"});
            run("QuillmarshPicker new_tab; QuillmarshPicker rename_tab left; QuillmarshPicker add_button 10 10 x");
            QCOMPARE(strings(run("QuillmarshPicker query_tabs")), (QStringList{"Untitled", "left"}));
            QVERIFY(QFile::exists(":/scripts/picker_ListNamespaces.mel"));

            QVERIFY2(h.unload_plugin("QuillmarshPicker", &error), qPrintable(error));
            // Nothing queued in Qt may call into the module now: not a
            // timer the window started, nor what it deletes later.
            QTest::qWait(10);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QVERIFY(!mapped(path));
            void* still = dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_NOLOAD);
            QVERIFY(!still);
            QVERIFY(!QFile::exists(":/scripts/picker_ListNamespaces.mel"));
            QVERIFY(!QFile::exists(":/resources/QuillmarshLogo.png"));
            QVERIFY2(h.error_count() == 0, qPrintable(h.output_text()));
            QVERIFY(!h.interpreter().has_command("QuillmarshPicker"));
            h.reset(); // a new scene: the next load finds none of this one's tabs
            h.set_main_window(&main);
        }
        h.set_main_window(nullptr);
    }

    void argument_lists_keep_strings_and_arrays_apart()
    {
        // The plug-in tells a single string[] argument from plain words by
        // which form of get() succeeds, so both must refuse the other kind.
        MArgList args;
        args.addArg("select");
        args.addArg("hero:arm");
        MString text;
        MStringArray array;
        unsigned index = 1;
        QVERIFY(args.get(1, text));
        QCOMPARE(QString(text.asChar()), QString("hero:arm"));
        QVERIFY(!args.get(index, array));
        QVERIFY(!args.get(2, text));
        MStatus status;
        args.asString(5, &status);
        QCOMPARE(status, MStatus(MStatus::kFailure));
    }

    void strings_are_utf8_inside()
    {
        QString text = QString::fromUtf8("Bra\xc3\xa7o_\xe8\x85\x95");
        MString m = MQtUtil::toMString(text);
        QCOMPARE(m.numChars(), 7u);
        QCOMPARE(m.length(), 10u);
        QCOMPARE(MQtUtil::toQString(m), text);
        MString built("w");
        built += 12;
        built += 0.5;
        built += " end";
        QCOMPARE(QString(built.asChar()), QString("w120.5 end"));
        QVERIFY(built == "w120.5 end");
        QVERIFY(built != MString("other"));

        MStringArray list(2, "x");
        list.append("y");
        list[0] = "first";
        QCOMPARE(list.length(), 3u);
        QCOMPARE(list.indexOf("y"), 2);
        QCOMPARE(list.indexOf("x"), 1);
        QCOMPARE(list.indexOf("none"), -1);
        QCOMPARE(QString(MStatus(MStatus::kNotFound).errorString().asChar()), QString("(kNotFound)"));
    }

    void selection_lists_and_iterators()
    {
        build_characters();
        MSelectionList list;
        QCOMPARE(list.add("ghost"), MStatus(MStatus::kInvalidParameter));
        QVERIFY(list.add("hero:*_arm_ctrl"));
        QVERIFY(list.add("hero:L_arm_ctrl"));
        QCOMPARE(list.length(), 2u);
        QVERIFY(list.add("body", true)); // found in a namespace when asked to look there
        QCOMPARE(list.length(), 3u);
        QVERIFY(MGlobal::setActiveSelectionList(list));
        QCOMPARE(h.selection(), (QStringList{"hero:L_arm_ctrl", "hero:R_arm_ctrl", "hero:body"}));

        run("select -add \"hero:body.vtx[2]\"");
        MSelectionList active;
        QVERIFY(MGlobal::getActiveSelectionList(active));
        QStringList walked;
        for (MItSelectionList it(active); !it.isDone(); it.next()) {
            MStringArray item;
            QVERIFY(it.getStrings(item));
            QCOMPARE(item.length(), 1u);
            walked << item[0].asChar();
        }
        QCOMPARE(walked, (QStringList{"hero:L_arm_ctrl", "hero:R_arm_ctrl", "hero:body",
                                      "hero:body.vtx[2]"}));
        QVERIFY(MGlobal::clearSelectionList());
        QVERIFY(h.selection().isEmpty());
    }

    void scene_commands_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("result");
        QTest::newRow("nested namespaces, recursive")
            << "namespace -add a; namespace -add b -p \":a\"; namespaceInfo -lon -r"
            << QStringList{"UI", "shared", "a", "a:b"};
        QTest::newRow("children of one namespace, absolute")
            << "namespace -add a; namespace -add b -p \":a\"; namespaceInfo -lon -an \"a\""
            << QStringList{":a:b"};
        QTest::newRow("root as current") << "namespaceInfo -cur" << QStringList{":"};
        QTest::newRow("ls by type") << "createNode joint -n j; createNode transform -n t; ls -type joint"
                                    << QStringList{"j"};
        QTest::newRow("delete") << "createNode transform -n t; createNode transform -n u; delete t; ls"
                                << QStringList{"u"};
        QTest::newRow("objExists") << "createNode transform -n t; objExists t" << QStringList{"1"};
        QTest::newRow("version") << "getApplicationVersionAsFloat" << QStringList{"2022"};
        QTest::newRow("unit query") << "currentUnit -l meter; currentUnit -q -l" << QStringList{"meter"};
        QTest::newRow("python statement gives nothing") << "python \"import os\"" << QStringList{""};
        QTest::newRow("scene name after rename")
            << "file -rename \"/tmp/quill_named.ma\"; file -q -sn" << QStringList{"/tmp/quill_named.ma"};
    }

    void scene_commands()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, result);
        QCOMPARE(strings(run(script)), result);
    }

    void execute_command_from_the_api()
    {
        build_characters();
        MStringArray result;
        QCOMPARE(MGlobal::executeCommand("ls \"hero:*_ctrl\"", result, true),
                 MStatus(MStatus::kSuccess));
        QCOMPARE(result.length(), 2u);
        QCOMPARE(QString(result[1].asChar()), QString("hero:R_arm_ctrl"));
        QVERIFY(log_contains("ls \"hero:*_ctrl\"\n// Result: hero:L_arm_ctrl hero:R_arm_ctrl //"));
        QCOMPARE(MGlobal::executeCommand("error \"stop\""), MStatus(MStatus::kFailure));
        QVERIFY(log_contains("// Error: "));
        QCOMPARE(MGlobal::mayaState(), MGlobal::kInteractive);
        h.set_batch(true);
        QCOMPARE(MGlobal::mayaState(), MGlobal::kBatch);
    }
};

QTEST_MAIN(test_sandbox)
#include "test_sandbox.moc"
