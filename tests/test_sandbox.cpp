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
#include <QDockWidget>
#include <QLabel>
#include <QLayout>
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

// The host's bound on the attributes a scene file may add to one node.
constexpr int max_attributes_per_node = 1000;

bool log_contains(const QString& text)
{
    return host::instance().output_text().contains(text);
}

// A plug-in linked into the test that leaves everything it adds behind: a
// callback from its initializePlugin, one from its command, one from its
// callback, its command and the workspace control its command makes.
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
        return status ? MGlobal::executeCommand("workspaceControl -uiScript \"\" leakyControl") : status;
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
                               << QStringList{"s:a", "s:hero:b.vtx[1]", "n:-3", "n:2.5"};
        QTest::newRow("quoted") << "quillEcho \"echo\" \"two words\" \"\""
                                << QStringList{"s:two words", "s:"};
        QTest::newRow("array variable") << "string $a[] = {\"x\", \"y z\"}; quillEcho echo $a"
                                        << QStringList{"a2:x,y z"};
        QTest::newRow("back-quoted array") << "quillEcho echo `ls \"hero:*_arm_ctrl\"`"
                                           << QStringList{"a2:hero:L_arm_ctrl,hero:R_arm_ctrl"};
        QTest::newRow("array among strings") << "string $a[] = {\"p\"}; quillEcho echo first $a last"
                                             << QStringList{"s:first", "a1:p", "s:last"};
        QTest::newRow("function syntax") << "quillEcho(\"echo\", \"f\", 7)"
                                         << QStringList{"s:f", "n:7"};
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

    // A plug-in command receives each argument with its MEL type, and each
    // getter reads only what it can read without losing anything:
    // "string|int|double|bool|array", "-" where the getter fails.
    void plugin_commands_take_typed_values_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("received");
        const QString integer120 = "-|120|120|-|-";
        QTest::newRow("command syntax numbers and words")
            << "quillEcho probe 120 1.5 word 2.0 -7 3e9"
            << QStringList{integer120, "-|-|1.5|-|-", "word|-|-|-|-", "-|2|2|-|-", "-|-7|-7|-|-",
                           "-|-|3000000000|-|-"};
        QTest::newRow("quoted numbers are strings that read as numbers")
            << "quillEcho probe \"120\" \"1.5\" \"1e3\" \"-0\" \"\""
            << QStringList{"120|120|120|-|-", "1.5|-|1.5|-|-", "1e3|1000|1000|-|-", "-0|0|-0|false|-", "|-|-|-|-"};
        QTest::newRow("strings that are not wholly numbers")
            << "quillEcho probe 12abc \" 5\" \"0x10\" inf nan . 1e \"99999999999\""
            << QStringList{"12abc|-|-|-|-", " 5|-|-|-|-", "0x10|-|-|-|-", "inf|-|-|-|-", "nan|-|-|-|-",
                           ".|-|-|-|-", "1e|-|-|-|-", "99999999999|-|99999999999|-|-"};
        QTest::newRow("MEL truth values are ints")
            << "quillEcho probe (true) (off) 1 0 2"
            << QStringList{"-|1|1|true|-", "-|0|0|false|-", "-|1|1|true|-", "-|0|0|false|-", "-|2|2|-|-"};
        QTest::newRow("function syntax keeps variables' types")
            << "int $i = 120; float $f = 40.5; string $s = \"120\"; string $a[] = {\"x\", \"y\"}; int $n[] = {4};"
               "quillEcho(\"probe\", $i, $f, $s, $a, $n, $i + 0.5)"
            << QStringList{integer120, "-|-|40.5|-|-", "120|120|120|-|-", "-|-|-|-|2", "-|-|-|-|1",
                           "-|-|120.5|-|-"};
        QTest::newRow("command syntax variables")
            << "int $i = 120; float $f = 2; string $empty[]; quillEcho probe $i $f $empty"
            << QStringList{integer120, "-|2|2|-|-", "-|-|-|-|0"};
    }

    void plugin_commands_take_typed_values()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, received);
        QString name, error;
        QVERIFY2(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error), qPrintable(error));
        QCOMPARE(strings(run(script)), received);
    }

    // A procedure that loads a plug-in was read before its command existed,
    // so it reaches the command only through eval or evalDeferred, as in Maya.
    void a_procedure_reaches_a_command_it_loads_only_through_eval()
    {
        const QString load = QString("loadPlugin \"%1\";").arg(ECHO_PLUGIN_PATH);
        run("global proc direct() { " + load + " print(`quillEcho single direct`); }\n"
            "global proc indirect() { " + load + " print(eval(\"quillEcho single now\"));"
            " evalDeferred \"print(`quillEcho single later`)\"; }");
        run("direct()", false);
        QVERIFY(log_contains("Cannot find procedure \"quillEcho\"."));
        QVERIFY(h.plugins().contains("quillEcho"));
        QVERIFY(!log_contains("direct"));
        h.clear_output();
        run("indirect()");
        h.drain_idle();
        QVERIFY2(h.output_text().contains("now") && h.output_text().contains("later"), qPrintable(h.output_text()));
        QCOMPARE(h.error_count(), 0);
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
        QVERIFY(log_contains("// Error: plug-in leaky left 1 workspace control at unload (leakyControl); "
                             "the host deleted it."));
        QVERIFY(h.workspace_controls().isEmpty());
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
        QCOMPARE(index, 1u);
        MStatus status;
        args.asString(5, &status);
        QCOMPARE(status, MStatus(MStatus::kFailure));

        // Added strings read as numbers only when they are wholly one; a
        // failed getter says so and gives the type's zero.
        args.addArg("12");
        args.addArg("0.25");
        QCOMPARE(args.asInt(2, &status), 12);
        QVERIFY(status);
        QCOMPARE(args.asDouble(3, &status), 0.25);
        QVERIFY(status);
        QCOMPARE(args.asInt(3, &status), 0);
        QCOMPARE(status, MStatus(MStatus::kFailure));
        QCOMPARE(args.asBool(2, &status), false);
        QCOMPARE(status, MStatus(MStatus::kFailure));
        QCOMPARE(args.asDouble(1, &status), 0.0);
        QCOMPARE(status, MStatus(MStatus::kFailure));
        bool flag = true;
        int integer = 7;
        double number = 7;
        QVERIFY(!args.get(4, flag) && !args.get(4, integer) && !args.get(4, number));
        QVERIFY(flag && integer == 7 && number == 7);
        MArgList copy(args);
        QCOMPARE(QString(copy.asString(3).asChar()), QString("0.25"));
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

    // Two `ctl` under different groups: names are paths, shortest unique
    // when reported, full with -l; a short name that means both means none.
    void hierarchy_paths_and_ambiguity()
    {
        run("createNode transform -n grp1; createNode transform -n grp2;"
            "createNode transform -n ctl -p grp1; select -cl");
        // Unique so far: the short name is the path the host reports.
        QCOMPARE(strings(run("ls")), (QStringList{"grp1", "grp2", "ctl"}));
        QCOMPARE(strings(run("createNode transform -n ctl -p \"|grp2\"")), QStringList{"grp2|ctl"});
        QCOMPARE(strings(run("ls")), (QStringList{"grp1", "grp2", "grp1|ctl", "grp2|ctl"}));
        QCOMPARE(strings(run("ls -l")), (QStringList{"|grp1", "|grp2", "|grp1|ctl", "|grp2|ctl"}));
        // Siblings never share a name.
        QCOMPARE(strings(run("createNode transform -n ctl -p grp1")), QStringList{"ctl1"});
        run("delete ctl1");

        run("select ctl", false);
        QVERIFY(log_contains("select: More than one object matches name: ctl"));
        QVERIFY(h.selection().isEmpty());
        run("createNode transform -n x -p ctl", false);
        QVERIFY(log_contains("createNode: More than one object matches name: ctl"));
        run("createNode transform -n x -p nowhere", false);
        QVERIFY(log_contains("createNode: No object matches name: nowhere"));
        QCOMPARE(MGlobal::selectByName("ctl", MGlobal::kReplaceList), MStatus(MStatus::kFailure));
        MSelectionList list;
        QVERIFY(!list.add("ctl"));

        // Every form of a name selects the same node.
        for (const char* name : {"grp1|ctl", "|grp1|ctl", ":grp1|:ctl"}) {
            run(QString("select -r \"%1\"").arg(name));
            QCOMPARE(h.selection(), QStringList{"grp1|ctl"});
            QCOMPARE(h.selection(true), QStringList{"|grp1|ctl"});
        }
        QCOMPARE(strings(run("ls -sl")), QStringList{"grp1|ctl"});
        QCOMPARE(strings(run("ls -sl -l")), QStringList{"|grp1|ctl"});
        QVERIFY(MGlobal::selectByName("|grp2|ctl", MGlobal::kAddToList));
        QCOMPARE(h.selection(), (QStringList{"grp1|ctl", "grp2|ctl"}));
        run("select -d \"grp2|ctl\"");
        QVERIFY(list.add("|grp1|ctl"));
        MStringArray got;
        list.getSelectionStrings(got);
        QCOMPARE(QString(got[0].asChar()), QString("grp1|ctl"));

        // Patterns match leaf names, or paths part by part.
        QCOMPARE(strings(run("ls \"*tl\"")), (QStringList{"grp1|ctl", "grp2|ctl"}));
        QCOMPARE(strings(run("ls \"grp2|*\"")), QStringList{"grp2|ctl"});
        QCOMPARE(strings(run("ls \"|*\"")), (QStringList{"grp1", "grp2"}));
        QCOMPARE(strings(run("objExists ctl")), QStringList{"1"});

        // Selection names follow the scene: deleting the other ctl makes
        // the short name unique again, in lists made before too.
        run("delete grp2");
        QCOMPARE(strings(run("ls")), (QStringList{"grp1", "ctl"}));
        QCOMPARE(h.selection(), QStringList{"ctl"});
        list.getSelectionStrings(got);
        QCOMPARE(got.length(), 1u);
        QCOMPARE(QString(got[0].asChar()), QString("ctl"));

        // A new node makes it ambiguous again; the selection says so.
        run("createNode transform -n ctl -ss");
        QCOMPARE(h.selection(), QStringList{"grp1|ctl"});
        QCOMPARE(strings(run("ls -type transform \"|ctl\"")), QStringList{"|ctl"});

        // Namespaces belong to each part.
        run("namespace -add hero; createNode transform -n \"hero:grp\";"
            "createNode transform -n \"hero:ctl\" -p \"hero:grp\";"
            "createNode mesh -n \"hero:bodyShape\" -p \"hero:grp\";"
            "select -r \"hero:grp|hero:ctl\" \"hero:bodyShape.vtx[0:3]\"");
        QCOMPARE(h.selection(), (QStringList{"hero:ctl", "hero:bodyShape.vtx[0:3]"}));
        QCOMPARE(h.selection(true), (QStringList{"|hero:grp|hero:ctl", "|hero:grp|hero:bodyShape.vtx[0:3]"}));
        QCOMPARE(strings(run("ls \"hero:*\"")), (QStringList{"hero:grp", "hero:ctl", "hero:bodyShape"}));
        QCOMPARE(strings(run("namespaceInfo -ls \"hero\"")), (QStringList{"hero:grp", "hero:ctl", "hero:bodyShape"}));

        // Deleting a node deletes what is below it, and its components.
        run("delete \"hero:grp\"");
        QCOMPARE(strings(run("ls \"hero:*\"")), QStringList{});
        QVERIFY(h.selection().isEmpty());
    }

    void parent_command()
    {
        run("createNode transform -n a; createNode transform -n b; createNode transform -n c -p b;"
            "createNode transform -n c");
        QCOMPARE(strings(run("ls -l")), (QStringList{"|a", "|b", "|b|c", "|c"}));
        QCOMPARE(strings(run("parent b a")), QStringList{"b"});
        QCOMPARE(strings(run("ls -l")), (QStringList{"|a", "|a|b", "|a|b|c", "|c"}));
        // A name taken among the new siblings is numbered.
        QCOMPARE(strings(run("parent \"|c\" \"a|b\"")), QStringList{"c1"});
        QCOMPARE(strings(run("ls -l c1")), QStringList{"|a|b|c1"});
        QCOMPARE(strings(run("parent -w c1")), QStringList{"c1"});
        QCOMPARE(strings(run("ls -l c1")), QStringList{"|c1"});

        run("parent a \"b|c\"", false);
        QVERIFY(log_contains("parent: Cannot parent a under itself or one of its descendants."));
        run("parent a a", false);
        run("parent ghost a", false);
        QVERIFY(log_contains("parent: No object matches name: ghost"));
        run("createNode transform -n c -p c1; parent a c", false);
        QVERIFY(log_contains("parent: More than one object matches name: c"));
        run("createNode script -n s; parent s a", false);
        QCOMPARE(strings(run("ls -l")), (QStringList{"|a", "|a|b", "|a|b|c", "|c1", "|c1|c", "s"}));
        // The host's own call, for the plug-in's tests.
        QString error;
        QVERIFY(!h.parent_node("b", "a", &error));
        QVERIFY(h.parent_node("b", QString(), &error));
        QCOMPARE(h.nodes(true), (QStringList{"|a", "|b", "|b|c", "|c1", "|c1|c", "s"}));
    }

    void transform_attributes()
    {
        run("createNode transform -n grp; createNode transform -n ctl -p grp; createNode script -n s");
        run("setAttr ctl.tx 2.5; setAttr \"grp|ctl.rotateY\" 90; setAttr ctl.s 1 2 3; setAttr ctl.v 0");
        QCOMPARE(strings(run("getAttr \"|grp|ctl.translateX\"")), QStringList{"2.5"});
        QCOMPARE(strings(run("getAttr ctl.ry")), QStringList{"90"});
        QCOMPARE(strings(run("getAttr ctl.scale")), (QStringList{"1", "2", "3"}));
        QCOMPARE(strings(run("getAttr ctl.visibility")), QStringList{"0"});
        QCOMPARE(strings(run("getAttr grp.sx")), QStringList{"1"});
        run("setAttr ctl.foo 1", false);
        QVERIFY(log_contains("setAttr: No object matches name: ctl.foo"));
        run("getAttr s.tx", false);
        QVERIFY(log_contains("getAttr: No object matches name: s.tx"));
        run("setAttr ghost.tx 1", false);
        run("setAttr ctl.t 1", false);
        run("setAttr ctl.tx abc", false);
        QCOMPARE(strings(run("getAttr ctl.tx")), QStringList{"2.5"});

        // Values away from their defaults go into the file, after the node.
        QTemporaryDir dir;
        const QString path = dir.filePath("attrs.ma");
        QString error;
        run("setAttr ctl.ry 0");
        QVERIFY2(h.save_scene(path, &error), qPrintable(error));
        const QString text = h.scene_text();
        QVERIFY2(text.contains("createNode transform -n \"ctl\" -p \"|grp\";\n"
                               "\tsetAttr \".tx\" 2.5;\n\tsetAttr \".sy\" 2;\n\tsetAttr \".sz\" 3;\n"
                               "\tsetAttr \".v\" 0;\n"),
                 qPrintable(text));
        QVERIFY(!text.contains(".ry"));
        h.new_scene();
        QVERIFY2(h.open_scene(path, &error), qPrintable(error));
        QCOMPARE(strings(run("getAttr ctl.t")), (QStringList{"2.5", "0", "0"}));
        QCOMPARE(h.scene_text(), text);
    }

    // Dynamic attributes keep to their type and limits: a refused value
    // leaves the old one.
    void typed_values_data()
    {
        QTest::addColumn<QString>("set");
        QTest::addColumn<QString>("error"); // empty: accepted
        QTest::addColumn<QString>("plug");
        QTest::addColumn<QString>("value"); // getAttr afterwards
        QTest::newRow("double in range") << "setAttr ctl.ikfk 0.75" << "" << "ctl.ikFk" << "0.75";
        QTest::newRow("double above max") << "setAttr ctl.ikfk 1.5" << "value 1.5 is out of range (0 to 1)"
                                          << "ctl.ikfk" << "0.25";
        QTest::newRow("double below min") << "setAttr ctl.ikfk -0.1" << "out of range" << "ctl.ikfk" << "0.25";
        QTest::newRow("not finite") << "setAttr ctl.ikfk 1e999" << "finite" << "ctl.ikfk" << "0.25";
        QTest::newRow("long takes whole numbers") << "setAttr ctl.count 7" << "" << "ctl.count" << "7";
        QTest::newRow("long refuses a fraction") << "setAttr ctl.count 2.5" << "not a whole number"
                                                 << "ctl.count" << "0";
        QTest::newRow("short refuses what it cannot hold") << "setAttr ctl.small 40000" << "not a whole number"
                                                           << "ctl.small" << "0";
        QTest::newRow("bool by word") << "setAttr ctl.on yes" << "" << "ctl.on" << "1";
        QTest::newRow("bool off") << "setAttr ctl.on 1; setAttr ctl.on off" << "" << "ctl.on" << "0";
        QTest::newRow("bool by number") << "setAttr ctl.on 5" << "" << "ctl.on" << "1";
        QTest::newRow("words are for bools only") << "setAttr ctl.count on" << "is not a number" << "ctl.count"
                                                  << "0";
        QTest::newRow("enum by value") << "setAttr ctl.space 5" << "" << "ctl.space" << "5";
        QTest::newRow("enum name of the value") << "setAttr ctl.space 5" << "" << "-asString ctl.space"
                                                << "parent";
        QTest::newRow("enum refuses a missing value") << "setAttr ctl.space 2" << "has no enum value 2"
                                                      << "ctl.space" << "0";
        QTest::newRow("enum is not a string") << "setAttr -type \"string\" ctl.space \"local\""
                                              << "is numeric" << "ctl.space" << "0";
        QTest::newRow("float keeps float precision") << "setAttr ctl.f 0.1" << "" << "ctl.f" << "0.1000000015";
        QTest::newRow("built-in visibility is a bool") << "setAttr ctl.v false" << "" << "ctl.v" << "0";
    }

    void typed_values()
    {
        QFETCH(QString, set);
        QFETCH(QString, error);
        QFETCH(QString, plug);
        QFETCH(QString, value);
        run("createNode transform -n ctl;"
            "addAttr -ln ikFk -sn ikfk -min 0 -max 1 -dv 0.25 -k true ctl;"
            "addAttr -ln count -at long ctl; addAttr -ln small -at short ctl; addAttr -ln on -at bool ctl;"
            "addAttr -ln space -at enum -en \"world:local:parent=5\" ctl; addAttr -ln f -at \"float\" ctl");
        h.clear_output();
        run(set, error.isEmpty());
        QVERIFY2(error.isEmpty() || log_contains(error), qPrintable(h.output_text()));
        QCOMPARE(run("getAttr " + plug).to_string(), value);
    }

    void add_attr_and_query_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QStringList>("result"); // empty: an error with this text
        QTest::addColumn<QString>("error");
        const QString node = "createNode transform -n ctl; ";
        QTest::newRow("double by default") << node + "addAttr -ln w ctl; attributeQuery -n ctl -at w"
                                           << QStringList{"double"} << "";
        QTest::newRow("built-in types") << node + "attributeQuery -n ctl -at rx" << QStringList{"doubleAngle"} << "";
        QTest::newRow("limits as arrays") << node + "addAttr -ln w -min -1 -max 2 ctl; attributeQuery -n ctl -max w"
                                          << QStringList{"2"} << "";
        QTest::newRow("default as an array") << node + "addAttr -ln w -dv 3 ctl; attributeQuery -n ctl -ld w"
                                             << QStringList{"3"} << "";
        QTest::newRow("enum names in one string")
            << node + "addAttr -ln s -at enum -en \"a:b=5:c\" ctl; attributeQuery -n ctl -le s"
            << QStringList{"a:b=5:c"} << "";
        QTest::newRow("enum limits are its values")
            << node + "addAttr -ln s -at enum -en \"a:b=5:c\" ctl; attributeQuery -n ctl -max s"
            << QStringList{"6"} << "";
        QTest::newRow("boolean flags and") << node + "addAttr -ln w -min 0 ctl; attributeQuery -n ctl -mne -mxe w"
                                           << QStringList{"0"} << "";
        QTest::newRow("exists by short name") << node + "addAttr -sn w ctl; attributeQuery -n ctl -ex w"
                                              << QStringList{"1"} << "";
        QTest::newRow("missing attribute") << node + "attributeQuery -n ctl -ex nope" << QStringList{"0"} << "";
        QTest::newRow("to the selection") << node + "select -r ctl; addAttr -ln w; attributeQuery -n ctl -ex w"
                                          << QStringList{"1"} << "";
        QTest::newRow("name taken") << node + "addAttr -ln tx ctl" << QStringList()
                                    << "Found an attribute named 'tx' already on ctl.";
        QTest::newRow("unknown type") << node + "addAttr -ln w -at vector ctl" << QStringList()
                                      << "Unknown attribute type 'vector'.";
        QTest::newRow("min above max") << node + "addAttr -ln w -min 2 -max 1 ctl" << QStringList()
                                       << "The minimum value 2 is greater than the maximum value 1.";
        QTest::newRow("default outside") << node + "addAttr -ln w -max 1 -dv 2 ctl" << QStringList()
                                         << "-defaultValue: w: value 2 is out of range";
        QTest::newRow("no node") << "addAttr -ln w ghost" << QStringList() << "No object matches name: ghost";
        QTest::newRow("enum without names") << node + "addAttr -ln w -at enum ctl" << QStringList()
                                            << "No enum names given";
        QTest::newRow("bad name") << node + "addAttr -ln \"a b\" ctl" << QStringList()
                                  << "'a b' is not a valid attribute name.";
        QTest::newRow("static attributes stay") << node + "deleteAttr ctl.tx" << QStringList()
                                                << "Cannot delete static attribute 'tx' of ctl.";
        QTest::newRow("deleted by -at") << node + "addAttr -ln w ctl; deleteAttr -at w ctl; attributeQuery -n ctl -ex w"
                                        << QStringList{"0"} << "";
        QTest::newRow("all or nothing on two nodes")
            << node + "createNode transform -n b; addAttr -ln w b; addAttr -ln w ctl b" << QStringList()
            << "Found an attribute named 'w' already on b.";
    }

    void add_attr_and_query()
    {
        QFETCH(QString, script);
        QFETCH(QStringList, result);
        QFETCH(QString, error);
        const mel::value got = run(script, error.isEmpty());
        if (error.isEmpty())
            QCOMPARE(strings(got), result);
        else
            QVERIFY2(log_contains(error), qPrintable(h.output_text()));
        if (QByteArray(QTest::currentDataTag()) == "all or nothing on two nodes")
            QCOMPARE(run("attributeQuery -n ctl -ex w").to_int(), 0);
    }

    void added_attributes_undo_and_redo_with_their_values()
    {
        run("createNode transform -n ctl; flushUndo");
        run("undoInfo -openChunk; addAttr -ln ikFk -min 0 -max 1 ctl; setAttr ctl.ikFk 0.5; undoInfo -closeChunk");
        run("setAttr ctl.ikFk 1");
        run("undo");
        QCOMPARE(run("getAttr ctl.ikFk").to_float(), 0.5);
        run("undo");
        QCOMPARE(run("attributeQuery -n ctl -ex ikFk").to_int(), 0);
        run("redo");
        QCOMPARE(run("getAttr ctl.ikFk").to_float(), 0.5);
        QCOMPARE(run("attributeQuery -n ctl -max ikFk").to_floats(), QVector<double>{1});
        run("deleteAttr ctl.ikFk; undo");
        QCOMPARE(run("getAttr ctl.ikFk").to_float(), 0.5);
    }

    // A job runs once at the next idle moment however often the value
    // changed, for changes by undo and redo too, and dies with its attribute.
    void attribute_change_jobs_follow_every_route()
    {
        run("createNode transform -n ctl; addAttr -ln ikFk ctl; flushUndo");
        run("global int $runs; $runs = 0");
        const QString job = run("scriptJob -ac ctl.ikFk \"global int $runs; $runs = $runs + 1\"").to_string();
        auto runs = [&] {
            h.drain_idle();
            return run("global int $runs; $runs").to_int();
        };
        run("setAttr ctl.ikFk 1; setAttr ctl.ikFk 2; setAttr ctl.tx 3");
        QCOMPARE(h.idle_pending(), 1);
        QCOMPARE(runs(), 1);
        run("undo"); // ctl.tx: not watched
        QCOMPARE(runs(), 1);
        run("undo");
        QCOMPARE(runs(), 2);
        run("redo");
        QCOMPARE(runs(), 3);
        run("redo");
        QCOMPARE(runs(), 3);
        QString error;
        QVERIFY(h.set_attribute("ctl.ikFk", {5}, &error)); // the host's own route
        QCOMPARE(runs(), 4);
        run("setAttr ctl.ikFk 6; scriptJob -kill " + job);
        QCOMPARE(runs(), 4);
        const QString other = run("scriptJob -ac ctl.ikFk \"global int $runs; $runs = $runs + 1\"").to_string();
        run("deleteAttr ctl.ikFk");
        QCOMPARE(run("scriptJob -ex " + other).to_int(), 0);
        run("scriptJob -ac ctl.nope \"print 1\"", false);
    }

    void attributes_round_trip_through_files()
    {
        QTemporaryDir dir;
        QString error;
        run("createNode transform -n rig; createNode transform -n ctl -p rig;"
            "addAttr -ln ikFk -sn ikfk -min 0 -max 1 -k true ctl; setAttr ctl.ikfk 0.5;"
            "addAttr -ln space -at enum -en \"world:local=3\" ctl");
        const QString text = h.scene_text();
        QVERIFY2(text.contains("createNode transform -n \"ctl\" -p \"|rig\";\n"
                               "\taddAttr -ci true -k true -sn \"ikfk\" -ln \"ikFk\" -min 0 -max 1 -at \"double\";\n"
                               "\taddAttr -ci true -sn \"space\" -ln \"space\" -min 0 -max 3 -en \"world:local=3\" "
                               "-at \"enum\";\n"
                               "\tsetAttr \".ikfk\" 0.5;\n"),
                 qPrintable(text));
        const QString rig = dir.filePath("rig.ma");
        QVERIFY2(h.save_scene(rig, &error), qPrintable(error));
        const QString saved = h.scene_text();
        h.new_scene();
        QVERIFY2(h.open_scene(rig, &error), qPrintable(error));
        QCOMPARE(h.scene_text(), saved);

        // Referenced, under the namespace; a changed value is all the scene keeps.
        h.new_scene();
        run("file -r -ns hero \"" + rig + "\"; setAttr hero:ctl.ikfk 1");
        QCOMPARE(run("attributeQuery -n hero:ctl -le space").to_strings(), QStringList{"world:local=3"});
        run("addAttr -ln w hero:ctl", false);
        QVERIFY2(h.scene_text().contains("setAttr \"|hero:rig|hero:ctl.ikfk\" 1;\n"), qPrintable(h.scene_text()));
        QVERIFY(!h.scene_text().contains("addAttr"));
        const QString scene = dir.filePath("scene.ma");
        QVERIFY2(h.save_scene(scene, &error), qPrintable(error));
        h.new_scene();
        QVERIFY2(h.open_scene(scene, &error), qPrintable(error));
        QCOMPARE(run("getAttr hero:ctl.ikfk").to_float(), 1.0);
    }

    void hostile_attribute_lines_data()
    {
        QTest::addColumn<QString>("lines");
        QTest::addColumn<QString>("error");
        QTest::newRow("name with a dot") << "addAttr -ln \"a.b\" -at \"double\";" << "'a.b' is not a valid attribute name.";
        QTest::newRow("endless limit") << "addAttr -ln a -min -1e999 -at \"double\";" << "finite numbers";
        QTest::newRow("word for a limit") << "addAttr -ln a -max abc -at \"double\";" << "-maxValue takes a number";
        QTest::newRow("endless value") << "addAttr -ln a -at \"double\";\nsetAttr \".a\" 1e999;" << "finite numbers";
        QTest::newRow("enum value too big") << "addAttr -ln a -en \"x=99999\" -at \"enum\";" << "16-bit integers";
        QTest::newRow("data attribute") << "addAttr -ln a -dt \"string\";" << "Only numeric attributes";
        QString many;
        for (int i = 0; i <= max_attributes_per_node; ++i)
            many += QString("addAttr -ln a%1 -at \"double\";\n").arg(i);
        QTest::newRow("too many") << many << "the most a node may have";
    }

    void hostile_attribute_lines()
    {
        QFETCH(QString, lines);
        QFETCH(QString, error);
        QTemporaryDir dir;
        QFile file(dir.filePath("bad.ma"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(("createNode transform -n \"ctl\";\n" + lines + "\ncreateNode transform -n \"after\";\n").toUtf8());
        file.close();
        QString why;
        QVERIFY(!h.open_scene(file.fileName(), &why));
        QVERIFY2(log_contains(error), qPrintable(h.output_text()));
        QVERIFY(h.node_exists("ctl"));
    }

    // A referenced file's nodes come in under a namespace, twice under two;
    // the scene's file keeps only the reference, and its own file info.
    void references()
    {
        QTemporaryDir dir;
        const QString rig = dir.filePath("rig.ma");
        QString error;
        run("namespace -add face; createNode transform -n rig; createNode transform -n ctl -p rig;"
            "createNode transform -n \"face:jaw\" -p \"rig|ctl\"; setAttr ctl.tx 1;"
            "fileInfo \"from\" \"rig\"");
        QVERIFY2(h.save_scene(rig, &error), qPrintable(error));
        h.new_scene();

        run("fileInfo \"from\" \"scene\"");
        QCOMPARE(strings(run("file -r -ns hero \"" + rig + "\"")), QStringList{rig});
        run("file -reference -namespace hero \"" + rig + "\"; select -cl");
        QCOMPARE(h.reference_namespaces(), (QStringList{"hero", "hero1"}));
        QCOMPARE(h.nodes(true), (QStringList{"|hero:rig", "|hero:rig|hero:ctl", "|hero:rig|hero:ctl|hero:face:jaw",
                                             "|hero1:rig", "|hero1:rig|hero1:ctl",
                                             "|hero1:rig|hero1:ctl|hero1:face:jaw"}));
        QCOMPARE(h.all_namespaces(), (QStringList{"UI", "shared", "hero", "hero:face", "hero1", "hero1:face"}));
        QCOMPARE(strings(run("fileInfo -q from")), QStringList{"scene"});
        QCOMPARE(strings(run("getAttr hero1:ctl.tx")), QStringList{"1"});
        run("delete hero:ctl", false);
        QVERIFY(h.node_exists("hero:ctl"));

        // Own nodes and changed values of referenced ones are kept.
        run("setAttr hero1:ctl.tx 5; createNode transform -n mine -p \"hero:rig\"");
        const QString scene = dir.filePath("scene.ma");
        QVERIFY2(h.save_scene(scene, &error), qPrintable(error));
        const QString text = h.scene_text();
        QVERIFY2(text.contains("file -r -ns \"hero\" \"" + rig + "\";\nfile -r -ns \"hero1\" \"" + rig + "\";\n"),
                 qPrintable(text));
        QVERIFY2(!text.contains("createNode transform -n \"hero:") && !text.contains("namespace -add \"hero"),
                 qPrintable(text));
        h.new_scene();
        QVERIFY2(h.open_scene(scene, &error), qPrintable(error));
        QCOMPARE(h.scene_text(), text);
        QCOMPARE(strings(run("getAttr hero1:ctl.tx")), QStringList{"5"});
        QCOMPARE(strings(run("getAttr hero:ctl.tx")), QStringList{"1"});
        QCOMPARE(strings(run("ls -l mine")), QStringList{"|hero:rig|mine"});
        QCOMPARE(strings(run("fileInfo -q from")), QStringList{"scene"});
        run("file -r -ns x \"" + dir.filePath("none.ma") + "\"", false);
        QVERIFY(!h.namespace_exists("x"));
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
        QTest::newRow("ls by type") << "createNode joint -n j; createNode transform -n t; ls -type joint"
                                    << QStringList{"j"};
        QTest::newRow("delete") << "createNode transform -n t; createNode transform -n u; delete t; ls"
                                << QStringList{"u"};
        QTest::newRow("objExists") << "createNode transform -n t; objExists t" << QStringList{"1"};
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

    // ----- The undo queue

    void undo_and_redo_take_back_scene_commands()
    {
        build_characters();
        run("flushUndo");
        static QString name = "SelectionChanged";
        const std::uintptr_t id = h.add_callback("SelectionChanged", record_event, &name);

        run("select -r hero:body; select -add root_ctrl");
        // Queries and file info are no steps.
        run("ls -sl; objExists root_ctrl; namespaceInfo -lon; fileInfo \"k\" \"v\"; fileInfo -q \"k\";"
            "print \"x\"; undoInfo -q -un");
        QCOMPARE(run("undoInfo -q").to_int(), 2);
        QCOMPARE(run("undoInfo -q -un").to_string(), QString("select -add root_ctrl"));
        events_seen.clear();
        run("undo");
        h.remove_callback(id);
        QCOMPARE(h.selection(), QStringList{"hero:body"});
        QCOMPARE(events_seen, QStringList{"SelectionChanged"});
        QVERIFY(log_contains("// Undo: select -add root_ctrl //"));
        QCOMPARE(run("undoInfo -q -rn").to_string(), QString("select -add root_ctrl"));
        run("redo");
        QCOMPARE(h.selection(), (QStringList{"hero:body", "root_ctrl"}));
        QVERIFY(log_contains("// Redo: select -add root_ctrl //"));

        // Nodes come and go with their selection; the file info stays.
        run("createNode transform -n extra; fileInfo \"after\" \"1\"; delete hero:body");
        QVERIFY(!h.node_exists("hero:body"));
        run("undo");
        QVERIFY(h.node_exists("hero:body"));
        QCOMPARE(h.selection(), QStringList{"extra"});
        run("undo");
        QVERIFY(!h.node_exists("extra"));
        QCOMPARE(h.selection(), (QStringList{"hero:body", "root_ctrl"}));
        QString info;
        QVERIFY(h.file_info("after", &info));
        run("redo");
        QVERIFY(h.node_exists("extra"));

        // Parenting and attributes are steps too.
        run("parent extra hero:body; setAttr extra.tx 5");
        run("undo");
        QCOMPARE(run("getAttr extra.tx").to_string(), QString("0"));
        run("undo");
        QCOMPARE(run("ls -l extra").to_string(), QString("|extra"));
        run("redo; redo");
        QCOMPARE(run("getAttr extra.tx").to_string(), QString("5"));

        // A new step ends what could be redone.
        run("select -cl");
        QCOMPARE(run("undoInfo -q -rqe").to_int(), 1);
        run("redo");
        QVERIFY(log_contains("// Warning: There are no more commands to redo."));
        for (int i = 0; i < 6; ++i)
            run("undo");
        QCOMPARE(run("undoInfo -q").to_int(), 0);
        QCOMPARE(h.selection(), QStringList());
        run("undo");
        QVERIFY(log_contains("// Warning: There are no more commands to undo."));
        QCOMPARE(h.undo_steps(), 0);

        // A new scene cannot be undone into the old one.
        run("select -r root_ctrl; file -f -new");
        QCOMPARE(h.undo_steps(), 0);
    }

    void undo_chunks_and_settings()
    {
        build_characters();
        run("flushUndo");
        run("undoInfo -openChunk; createNode transform -n c1; createNode transform -n c2;"
            "select -r c1 c2; undoInfo -closeChunk");
        QCOMPARE(run("undoInfo -q").to_int(), 1);
        QCOMPARE(run("undoInfo -q -un").to_string(), QString("createNode transform -n c1"));
        run("undo");
        QVERIFY(!h.node_exists("c1") && !h.node_exists("c2"));

        // Named, nested, and left open: an open chunk is closed by undo.
        run("undoInfo -ock -cn \"build\"; undoInfo -ock; select -r root_ctrl; undoInfo -cck;"
            "createNode transform -n n1; undoInfo -cck");
        QCOMPARE(h.undo_name(), QString("build"));
        run("undoInfo -openChunk; select -r hero:body; createNode transform -n left_open");
        QCOMPARE(run("undoInfo -q").to_int(), 1);
        run("undo");
        QVERIFY(!h.node_exists("left_open"));
        QCOMPARE(h.selection(), QStringList{"n1"});
        run("undoInfo -closeChunk");
        QVERIFY(log_contains("// Warning: undoInfo: there is no open chunk to close."));
        run("undoInfo -openChunk; undoInfo -closeChunk");
        QCOMPARE(run("undoInfo -q").to_int(), 1);

        // Python opens and closes chunks the same way.
        QVERIFY(h.execute_python("from maya import cmds\ncmds.undoInfo(openChunk=True, chunkName='py')\n"
                                 "cmds.select('root_ctrl')\ncmds.select('hero:body', add=True)\n"
                                 "cmds.undoInfo(closeChunk=True)"));
        mel::value name;
        QVERIFY(h.execute_python("cmds.undoInfo(q=True, undoName=True)", &name));
        QCOMPARE(name.to_string(), QString("py"));

        // Maya's default queue of 50, shortened and turned off.
        QCOMPARE(run("undoInfo -q -length").to_int(), 50);
        QCOMPARE(run("undoInfo -q -infinity").to_int(), 0);
        QCOMPARE(run("undoInfo -q -state").to_int(), 1);
        run("undoInfo -length 2; select -r root_ctrl; select -r hero:body; select -cl");
        QCOMPARE(run("undoInfo -q").to_int(), 2);
        QVERIFY(h.execute_python("cmds.undoInfo(state=False)"));
        QCOMPARE(run("undoInfo -q -st").to_int(), 0);
        QCOMPARE(run("undoInfo -q").to_int(), 0);
        run("select -r root_ctrl");
        QCOMPARE(run("undoInfo -q").to_int(), 0);
        run("undoInfo -state on; select -r hero:body");
        QCOMPARE(run("undoInfo -q").to_int(), 1);
        run("undoInfo -q -un -rn", false);
        run("undoInfo -un", false);
    }

    void plugin_commands_on_the_undo_queue()
    {
        QString name, error;
        QVERIFY2(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error), qPrintable(error));
        build_characters();
        run("select -r root_ctrl; flushUndo");

        // Kept after doIt, then undone and redone on the same instance.
        run("quillEcho undoable_select hero:body");
        QCOMPARE(h.undo_name(), QString("quillEcho undoable_select hero:body"));
        QCOMPARE(strings(run("quillEcho lifecycle")), QStringList());
        run("undo");
        QCOMPARE(h.selection(), QStringList{"root_ctrl"});
        run("redo");
        QCOMPARE(h.selection(), QStringList{"hero:body"});
        QCOMPARE(strings(run("quillEcho lifecycle")), (QStringList{"undoIt hero:body", "redoIt hero:body"}));

        // A command that is not undoable is no step, even when it selects:
        // undo takes back the step before it.
        run("quillEcho select hero:L_arm_ctrl");
        QCOMPARE(h.undo_steps(), 1);
        run("undo");
        QCOMPARE(h.selection(), QStringList{"root_ctrl"});

        // What doIt runs with undo enabled is in the command's step; with
        // undo disabled it is in no step.
        run("quillEcho undoable_run \"createNode transform -n made; select -r made\"");
        QCOMPARE(strings(run("quillEcho lifecycle")), (QStringList{"undoIt hero:body", "deleted hero:body"}));
        QCOMPARE(h.undo_steps(), 1);
        run("quillEcho run \"createNode transform -n unrecorded\"");
        QCOMPARE(h.undo_steps(), 1);
        run("undo");
        QVERIFY(!h.node_exists("made"));
        QCOMPARE(strings(run("quillEcho lifecycle")),
                 QStringList{"undoIt createNode transform -n made; select -r made"});
        run("redo");
        QVERIFY(h.node_exists("made"));
        QCOMPARE(h.selection(), QStringList{"made"});

        // selectCommand selects as the select command does: undoably, in a
        // step named after the command that called it.
        run("quillEcho select_command hero:body");
        QCOMPARE(h.undo_name(), QString("quillEcho select_command hero:body"));
        run("undo");
        QCOMPARE(h.selection(), QStringList{"made"});

        // Instances go when the queue drops them.
        run("quillEcho undoable_select root_ctrl; flushUndo");
        QCOMPARE(strings(run("quillEcho lifecycle")),
                 (QStringList{"redoIt createNode transform -n made; select -r made",
                              "deleted createNode transform -n made; select -r made", "deleted root_ctrl"}));
    }

    void script_jobs_run_when_the_event_fires()
    {
        build_characters();
        const int callbacks = h.callback_count("SelectionChanged");
        const int job = run("scriptJob -event \"SelectionChanged\" \"global string $seen[]; $seen = `ls -sl`;\"").to_int();
        QVERIFY(job > 0);
        QCOMPARE(run("scriptJob -exists " + QString::number(job)).to_int(), 1);
        // At once, before select returns.
        QCOMPARE(strings(run("global string $seen[]; select -r root_ctrl; $seen")), QStringList{"root_ctrl"});
        run("undo");
        QCOMPARE(strings(run("global string $seen[]; $seen")), QStringList());
        run("scriptJob -kill " + QString::number(job));
        run("select -r hero:body");
        QCOMPARE(strings(run("global string $seen[]; $seen")), QStringList());
        run("scriptJob -kill " + QString::number(job), false);
        run("scriptJob -event \"NoSuchEvent\" \"print 1\"", false);
        run("scriptJob -e \"SelectionChanged\" \"print 1\"");
        QCOMPARE(h.callback_count("SelectionChanged"), callbacks + 1);
        h.reset();
        QCOMPARE(h.callback_count("SelectionChanged"), callbacks);
    }

    // ----- Workspace controls

    void workspace_control_errors_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QStringList>("left");
        const QStringList none;
        QTest::newRow("name taken") << "workspaceControl -ui \"\" twin; workspaceControl -ui \"\" twin"
                                    << "workspaceControl: Object's name 'twin' is not unique." << QStringList{"twin"};
        QTest::newRow("no uiScript") << "workspaceControl bare" << "-uiScript flag is required" << none;
        QTest::newRow("edit a missing one") << "workspaceControl -e -restore ghost"
                                            << "workspaceControl: Object 'ghost' not found." << none;
        QTest::newRow("query a missing one") << "workspaceControl -q -visible ghost"
                                             << "workspaceControl: Object 'ghost' not found." << none;
        QTest::newRow("unknown flag") << "workspaceControl -ui \"\" -bogus 1 odd" << "Invalid flag '-bogus'" << none;
        QTest::newRow("no such side") << "workspaceControl -ui \"\" -dockToMainWindow middle 0 side"
                                      << "Invalid dock position 'middle'" << none;
        QTest::newRow("close when creating") << "workspaceControl -ui \"\" -close shut"
                                             << "only work in edit mode" << none;
        QTest::newRow("retain in edit") << "workspaceControl -ui \"\" kept; workspaceControl -e -retain 0 kept"
                                        << "can only be used when creating" << QStringList{"kept"};
        QTest::newRow("delete a missing one") << "workspaceControl -ui \"\" real; deleteUI real ghost"
                                              << "deleteUI: Object 'ghost' not found." << QStringList{"real"};
        QTest::newRow("two values short") << "workspaceControl -ui \"\" -dockToMainWindow left"
                                          << "Flag '-dockToMainWindow' must be passed a value." << none;
    }

    void workspace_control_errors()
    {
        QFETCH(QString, script);
        QFETCH(QString, error);
        QFETCH(QStringList, left);
        QMainWindow main;
        h.set_main_window(&main);
        run(script, false);
        QVERIFY2(log_contains(error), qPrintable(h.output_text()));
        QCOMPARE(h.workspace_controls(), left);
        for (const QString& name : left)
            run("deleteUI -control " + name);
        h.set_main_window(nullptr);
    }

    // Made floating and filled by its uiScript at once; docked and floated
    // again; closing keeps it and what it holds when retained, restore
    // shows it as it was; deleteUI takes it with its content.
    void workspace_control_life()
    {
        QMainWindow main;
        main.show();
        h.set_main_window(&main);
        QCOMPARE(strings(run("workspaceControl -exists wc")), QStringList{"0"});
        QCOMPARE(strings(run("workspaceControl -label \"Pick\" -closeCommand \"print \\\"closed\\\\n\\\"\" "
                             "-uiScript \"print \\\"built\\\\n\\\"\" -initialWidth 300 -initialHeight 200 wc")),
                 QStringList{"wc"});
        QCOMPARE(h.output_text().count("built"), 1);
        QWidget* content = MQtUtil::findControl("wc");
        QVERIFY(content && content->layout());
        QPointer<QLabel> held = new QLabel("held");
        content->layout()->addWidget(held);
        QVERIFY(content->window()->isWindow() && content->window() != &main);
        QCOMPARE(content->window()->size(), QSize(300, 200));
        auto query = [&](const char* flag) { return run(QString("workspaceControl -q %1 wc").arg(flag)).to_string(); };
        QCOMPARE(query("-exists"), QString("1"));
        QCOMPARE(query("-visible"), QString("1"));
        QCOMPARE(query("-floating"), QString("1"));
        QCOMPARE(query("-label"), QString("Pick"));

        run("workspaceControl -e -dockToMainWindow left 0 wc");
        QCOMPARE(query("-floating"), QString("0"));
        QCOMPARE(content->window(), &main);
        QCOMPARE(main.dockWidgetArea(main.findChild<QDockWidget*>("wc")), Qt::LeftDockWidgetArea);
        QCOMPARE(MQtUtil::findControl("wc", &main), content);
        run("workspaceControl -e -label \"Other\" wc");
        QCOMPARE(query("-label"), QString("Other"));

        run("workspaceControl -e -close wc");
        QCOMPARE(query("-visible"), QString("0"));
        QCOMPARE(query("-exists"), QString("1"));
        QVERIFY(log_contains("closed"));
        QVERIFY(held);
        run("workspaceControl -e -restore wc");
        QCOMPARE(query("-visible"), QString("1"));
        QCOMPARE(query("-floating"), QString("0"));
        QCOMPARE(h.output_text().count("built"), 1);
        run("workspaceControl -e -visible false wc; workspaceControl -e -visible true wc");
        QCOMPARE(query("-visible"), QString("1"));
        run("workspaceControl -e -floating true wc");
        QCOMPARE(query("-floating"), QString("1"));

        run("deleteUI -control wc");
        QCOMPARE(query("-exists"), QString("0"));
        QVERIFY(!held);
        QVERIFY(!MQtUtil::findControl("wc"));

        // Not retained: closing deletes it and its content.
        run("workspaceControl -retain false -ui \"\" brief");
        held = new QLabel("held");
        MQtUtil::findControl("brief")->layout()->addWidget(held);
        run("workspaceControl -e -close brief");
        QCOMPARE(strings(run("workspaceControl -q -exists brief")), QStringList{"0"});
        QTRY_VERIFY(!held);
        h.set_main_window(nullptr);
    }

    // A new session finds the controls empty: open ones are refilled by
    // their uiScript at once, closed ones when they are shown again. A
    // uiScript that guards a missing command says nothing.
    void restoring_the_workspace_refills_each_control()
    {
        run("workspaceControl -ui \"if (`exists noSuchTool`) noSuchTool; print \\\"open\\\\n\\\"\" open;"
            "workspaceControl -ui \"print \\\"shut\\\\n\\\"\" shut; workspaceControl -e -close shut");
        QPointer<QLabel> held = new QLabel("held");
        MQtUtil::findControl("open")->layout()->addWidget(held);
        QString quit = "quit";
        const MCallbackId id = MEventMessage::addEventCallback("quitApplication", record_event, &quit);
        h.clear_output();
        run("sandboxRestoreWorkspace");
        QCOMPARE(events_seen, QStringList{"quit"}); // the old session ended first
        MMessage::removeCallback(id);
        QVERIFY(!held);
        QCOMPARE(h.output_text().count("open"), 1);
        QCOMPARE(h.output_text().count("shut"), 0);
        QCOMPARE(h.workspace_controls(), (QStringList{"open", "shut"}));
        run("workspaceControl -e -restore shut; workspaceControl -e -close shut; workspaceControl -e -restore shut");
        QCOMPARE(h.output_text().count("open"), 1);
        QCOMPARE(h.output_text().count("shut"), 1);
        QCOMPARE(h.error_count(), 0);
        run("deleteUI open shut");
        QVERIFY(h.workspace_controls().isEmpty());
    }

    void workspace_controls_need_the_interface()
    {
        h.set_batch(true);
        run("workspaceControl -q -exists any", false);
        QVERIFY(log_contains("workspaceControl: This command is not available in batch mode."));
        run("deleteUI any", false);
        QVERIFY(log_contains("deleteUI: This command is not available in batch mode."));
        QVERIFY(!MQtUtil::findControl("any"));
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
