// The sandbox application driven the way scripts drive it: a child process
// with --quit, judged by its standard output, its files and its exit status.
#include <QColor>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

namespace {

struct run_result {
    int status = -1;
    QStringList lines; // standard output
    QString errors;    // standard error
};

// Whether `expected` appear in `lines` in this order, each line whole; a
// trailing "..." matches any rest of the line.
bool in_order(const QStringList& lines, const QStringList& expected)
{
    int at = 0;
    for (const QString& want : expected) {
        const bool prefix = want.endsWith("...");
        const QString head = prefix ? want.chopped(3) : want;
        while (at < lines.size() && !(prefix ? lines[at].startsWith(head) : lines[at] == want))
            ++at;
        if (at == lines.size())
            return false;
        ++at;
    }
    return true;
}

} // namespace

class test_app : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    QString app_; // a copy with no plug-in module beside it

    QString fill(QString text) const
    {
        return text.replace("@echo", ECHO_PLUGIN_PATH).replace("@dir", dir_.path());
    }

    // Runs the copy, or the given program.
    run_result launch(const QStringList& args, const QString& program = QString()) const
    {
        QStringList filled;
        for (const QString& arg : args)
            filled << fill(arg);
        QProcess process;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        env.insert("HOME", dir_.filePath("home"));
        env.insert("XDG_CONFIG_HOME", dir_.filePath("config"));
        process.setProcessEnvironment(env);
        process.setWorkingDirectory(dir_.path());
        process.start(program.isEmpty() ? app_ : program, filled);
        run_result result;
        if (!process.waitForFinished(30000)) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.lines = QString::fromUtf8(process.readAllStandardOutput()).split('\n');
        result.errors = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    void write(const QString& name, const QByteArray& text) const
    {
        QFile file(dir_.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir_.isValid());
        QVERIFY(QDir(dir_.path()).mkpath("bin"));
        app_ = dir_.filePath("bin/quillmarsh-sandbox");
        QVERIFY(QFile::copy(SANDBOX_APP, app_));
        write("greet.mel", "global proc string greet(string $who)\n"
                           "{\n"
                           "    return (\"hello \" + $who);\n"
                           "}\n"
                           "print (greet(\"file\") + \"\\n\");\n");
        write("start.ma", "//Maya ASCII 2022 scene\n"
                          "requires maya \"2022\";\n"
                          "namespace -add \"hero\";\n"
                          "namespace -add \"cape\" -parent \":hero\";\n"
                          "createNode transform -n \"hero:body\";\n"
                          "createNode transform -n \"hero:cape:tip\";\n"
                          "createNode joint -n \"root\";\n");
        write("steps.py", "import maya.cmds as cmds\nprint('file sees', cmds.ls(sl=True))\ncmds.select('x')\n");
    }

    void scripted_runs_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("steps in order, echoed")
            << QStringList{"--mel", "print \"one\\n\"", "--mel", "size(\"abcd\")", "--mel", "print \"two\\n\""}
            << 0 << QStringList{"print \"one\\n\"", "one", "size(\"abcd\")", "// Result: 4 //", "two"};
        QTest::newRow("error sets the status, later steps still run")
            << QStringList{"--mel", "nosuch", "--mel", "print \"after\\n\""} << 1
            << QStringList{"// Error: line 1: Cannot find procedure \"nosuch\".", "after"};
        QTest::newRow("idle texts run after their step, before the next")
            << QStringList{"--mel", "evalDeferred \"print \\\"later\\\\n\\\"\"; print \"now\\n\";", "--mel",
                           "print \"next\\n\""}
            << 0 << QStringList{"now", "later", "print \"next\\n\"", "next"};
        QTest::newRow("error in an idle text counts")
            << QStringList{"--mel", "evalDeferred \"nosuch\""} << 1
            << QStringList{"// Error: line 1: Cannot find procedure \"nosuch\"."};
        QTest::newRow("plug-in loads before the scene opens")
            << QStringList{"@dir/start.ma", "--plugin", "@echo", "--mel", "quillEcho events"} << 0
            << QStringList{"// Result: SceneOpened //"};
        QTest::newRow("plug-in given but missing")
            << QStringList{"--plugin", "@dir/none.so", "--mel", "print \"still\\n\""} << 1
            << QStringList{"// Error: Plug-in file \"@dir/none.so\" not found.", "still"};
        QTest::newRow("default plug-in missing only warns")
            << QStringList{"--mel", "print \"ok\\n\""} << 0
            << QStringList{"// Warning: No plug-in module at @dir/bin/QuillmarshPicker.so: starting without the picker.",
                           "ok"};
        QTest::newRow("mel file, its procedures stay defined")
            << QStringList{"--mel-file", "@dir/greet.mel", "--mel", "print(greet(\"again\"))"} << 0
            << QStringList{"hello file", "hello again"};
        QTest::newRow("python in order with MEL, its errors count")
            << QStringList{"--mel", "createNode transform -n a; createNode transform -n b", "--py",
                           "import maya.cmds as cmds; cmds.select('b')", "--py-file", "@dir/steps.py", "--mel",
                           "print (`ls -sl`)", "--py", "cmds.select('nobody')"}
            << 1
            << QStringList{"# python: import maya.cmds as cmds; cmds.select('b')", "file sees ['b']",
                           "// Error: RuntimeError: file @dir/steps.py line 3: select: No object matches name: x",
                           "print (`ls -sl`)", "b", "# python: cmds.select('nobody')",
                           "// Error: RuntimeError: file <maya console> line 1: "
                           "select: No object matches name: nobody"};
        QTest::newRow("mel file missing")
            << QStringList{"--mel-file", "@dir/none.mel"} << 1
            << QStringList{"// Error: Could not read MEL file \"@dir/none.mel\"..."};
        QTest::newRow("scene missing")
            << QStringList{"@dir/none.ma", "--mel", "print \"on\\n\""} << 1
            << QStringList{"// Error: Could not open file \"@dir/none.ma\"...", "on"};
        QTest::newRow("scene cannot be saved")
            << QStringList{"--save-scene", "@dir/no/such/folder/a.ma"} << 1
            << QStringList{"// Error: Could not write \"@dir/no/such/folder/a.ma\"..."};
    }

    void scripted_runs()
    {
        QFETCH(QStringList, args);
        QFETCH(int, status);
        QFETCH(QStringList, expected);
        run_result run = launch(args << "--quit");
        QStringList wanted;
        for (const QString& line : expected)
            wanted << fill(line);
        QVERIFY2(in_order(run.lines, wanted), qPrintable(run.lines.join('\n') + run.errors));
        QCOMPARE(run.status, status);
    }

    void bad_command_lines_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown option") << QStringList{"--frobnicate", "--quit"} << "unknown option --frobnicate";
        QTest::newRow("option where the value belongs")
            << QStringList{"--screenshot", "--quit"} << "--screenshot needs a value";
        QTest::newRow("two scenes") << QStringList{"a.ma", "b.ma", "--quit"} << "only one scene";
    }

    void bad_command_lines()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        run_result run = launch(args);
        QCOMPARE(run.status, 2);
        QVERIFY2(run.errors.contains(message), qPrintable(run.errors));
        QCOMPARE(run.lines.join(QString()), QString()); // nothing ran
    }

    void scene_round_trip()
    {
        const QString nodes = "// Result: hero:body hero:cape:tip root //";
        run_result first = launch({"@dir/start.ma", "--mel", "ls", "--save-scene", "@dir/saved.ma", "--quit"});
        QVERIFY2(in_order(first.lines, {nodes}), qPrintable(first.lines.join('\n')));
        QCOMPARE(first.status, 0);

        run_result again = launch({"@dir/saved.ma", "--mel", "ls", "--mel", "ls -type joint", "--quit"});
        QVERIFY2(in_order(again.lines, {nodes, "// Result: root //"}), qPrintable(again.lines.join('\n')));
        QCOMPARE(again.status, 0);
    }

    void real_plugin_shows_the_demo()
    {
        // The real module, loaded from its file as Maya would, on the demo scene.
        run_result run = launch({"--plugin", PICKER_PLUGIN_PATH, DEMO_SCENE, "--mel", "select -r \"hero:L_*_ctrl\"",
                                 "--mel", "print(`QuillmarshPicker query_tabs`)", "--screenshot", "@dir/demo.png",
                                 "--quit"});
        QVERIFY2(in_order(run.lines, {"hero", "sidekick"}), qPrintable(run.lines.join('\n')));
        QCOMPARE(run.status, 0);
        QImage shot(dir_.filePath("demo.png"));
        QVERIFY(!shot.isNull());
        // The demo picture's dark card shows: the picker is painted over its background.
        int card = 0;
        for (int y = 0; y < shot.height(); y += 2)
            for (int x = 0; x < shot.width(); x += 2)
                card += QColor(shot.pixel(x, y)) == QColor(34, 38, 46);
        QVERIFY2(card > 500, qPrintable(QString::number(card)));
    }

    void batch_runs_have_no_interface()
    {
        // Like maya -batch: no QApplication (a widget would abort the run),
        // idle texts wait for flushIdleQueue, and the picker works on the
        // scene's pickers without a window, nor a workspace control to hold one.
        const QString pickers = QFileInfo(DEMO_SCENE).absolutePath() + "/../pickers";
        run_result run = launch({"--batch", DEMO_SCENE, "--mel", "evalDeferred \"print \\\"later\\\\n\\\"\"",
                                 "--mel", "print \"now\\n\"", "--mel", "print(`QuillmarshPicker query_tabs`)",
                                 "--mel", "QuillmarshPicker", "--mel", "workspaceControl -q -exists QuillmarshPickerWorkspaceControl",
                                 "--py", "import maya.cmds as cmds; cmds.flushIdleQueue()",
                                 "--mel", "QuillmarshPicker select \"hero:L_hand_ctrl\"; print(`ls -sl`)",
                                 "--mel", "QuillmarshPicker saveas", "--mel",
                                 "QuillmarshPicker open \"" + pickers + "/hero.pkr\"; "
                                 "QuillmarshPicker update_namespace props; print(`QuillmarshPicker get_namespaces`); "
                                 "print(`QuillmarshPicker query_tabs`)"},
                                SANDBOX_APP);
        const QString output = run.lines.join('\n') + run.errors;
        QVERIFY2(in_order(run.lines, {"now", "hero", "sidekick", "// Warning: QuillmarshPicker: there is no picker window...",
                                      "// Error: line 1: workspaceControl: This command is not available in batch mode.",
                                      "later", "hero:L_hand_ctrl",
                                      "// Error: QuillmarshPicker - saveas: needs the path to save to...", "props",
                                      "hero", "sidekick", "hero"}),
                 qPrintable(output));
        QVERIFY2(!output.contains("QWidget"), qPrintable(output));
        QCOMPARE(output.count("not available in batch mode"), 1); // only the one asked above
        QCOMPARE(run.status, 1);
        QCOMPARE(launch({"--batch", "--screenshot", "@dir/x.png"}).status, 2);
    }

    void batch_builds_what_the_interface_builds()
    {
        // The demo's build script, run with and without the interface, gives
        // the same scene data and picker files; a plain scene save keeps them.
        const QString images = QFileInfo(DEMO_SCENE).absolutePath() + "/images";
        auto build = [&](const QString& tag, bool batch) {
            QStringList args;
            if (batch)
                args << "--batch";
            args << "--mel-file" << QFileInfo(DEMO_SCENE).absolutePath() + "/build_demo.mel" << "--mel"
                 << QString("quillmarshBuildDemo(\"%1\")").arg(images);
            for (const char* tab : {"hero", "sidekick"})
                args << "--mel" << QString("QuillmarshPicker set_tab %1; QuillmarshPicker saveas \"@dir/%2_%1.pkr\"")
                                       .arg(tab, tag);
            args << "--mel" << QString("file -rename \"@dir/%1.ma\"; file -save").arg(tag);
            if (!batch)
                args << "--quit";
            return launch(args, SANDBOX_APP);
        };
        for (const bool batch : {false, true}) {
            const run_result run = build(batch ? "batch" : "shown", batch);
            QVERIFY2(run.status == 0, qPrintable(run.lines.join('\n') + run.errors));
        }
        auto bytes = [&](const QString& name) {
            QFile file(dir_.filePath(name));
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        auto entries = [&](const QString& name) {
            QList<QByteArray> found;
            for (const QByteArray& line : bytes(name).split('\n'))
                if (line.startsWith("fileInfo"))
                    found << line;
            return found;
        };
        QCOMPARE(entries("batch.ma").size(), 4); // the data and three pictures
        QCOMPARE(entries("batch.ma"), entries("shown.ma"));
        for (const char* tab : {"hero", "sidekick"}) {
            QVERIFY(!bytes(QString("batch_%1.pkr").arg(tab)).isEmpty());
            QCOMPARE(bytes(QString("batch_%1.pkr").arg(tab)), bytes(QString("shown_%1.pkr").arg(tab)));
        }
    }

    void module_scripts_open_the_picker()
    {
        // The procedures a studio install puts on Maya's script path, in MEL
        // and in Python, with the plug-in the application finds beside itself.
        const QString py = QString("import sys; sys.path.insert(0, '%1'); import quillmarsh_picker; "
                                   "quillmarsh_picker.show(); print('shown')")
                               .arg(MODULE_SCRIPTS);
        run_result run = launch({"--mel-file", MODULE_SCRIPTS "/QuillmarshPicker_open.mel", "--mel",
                                 "QuillmarshPicker_open; print(`pluginInfo -q -loaded QuillmarshPicker`)", "--py", py,
                                 "--quit"},
                                SANDBOX_APP);
        QVERIFY2(in_order(run.lines, {"1", "shown"}), qPrintable(run.lines.join('\n') + run.errors));
        QCOMPARE(run.status, 0);
    }

    void module_scripts_read_before_the_plugin_loads()
    {
        // Maya reads the module's procedures from its script path before the
        // plug-in is loaded, and binds their names then. The copy starts with
        // no plug-in; loadPlugin finds the bare name in the working folder,
        // where Maya would search its plug-in path.
        QVERIFY(QFile::link(PICKER_PLUGIN_PATH, dir_.filePath("QuillmarshPicker")));
        run_result run = launch({"--mel-file", MODULE_SCRIPTS "/QuillmarshPicker_open.mel", "--mel",
                                 "print(`pluginInfo -q -loaded QuillmarshPicker`)", "--mel", "QuillmarshPicker_open",
                                 "--mel", "print(`pluginInfo -q -loaded QuillmarshPicker`)", "--mel",
                                 "QuillmarshPicker_open; print(size(`QuillmarshPicker query_tabs`))", "--quit"});
        QFile::remove(dir_.filePath("QuillmarshPicker"));
        QVERIFY2(in_order(run.lines, {"0", "1", "1"}), qPrintable(run.lines.join('\n') + run.errors));
        QCOMPARE(run.status, 0);
    }

    // The picker's window narrowed and its view zoomed, for pictures of the
    // demo: the lit hand fills far more of a zoomed picture; bad values
    // are errors.
    void picker_size_and_zoom()
    {
        const QStringList demo = {"--plugin", PICKER_PLUGIN_PATH, DEMO_SCENE, "--mel", "select -r hero:L_hand_ctrl"};
        const auto red = [](const QImage& shot) {
            int n = 0;
            for (int y = 0; y < shot.height(); ++y)
                for (int x = 0; x < shot.width(); ++x)
                    n += QColor(shot.pixel(x, y)) == QColor(192, 57, 43);
            return n;
        };
        QCOMPARE(launch(demo + QStringList{"--screenshot", "@dir/plain.png", "--quit"}).status, 0);
        run_result zoomed = launch(demo + QStringList{"--picker-size", "360x640", "--picker-zoom", "4", "--screenshot",
                                                      "@dir/zoomed.png", "--quit"});
        QCOMPARE(zoomed.status, 0);
        const QImage plain(dir_.filePath("plain.png")), narrow(dir_.filePath("zoomed.png"));
        QVERIFY(!plain.isNull() && !narrow.isNull());
        QVERIFY2(narrow.width() < plain.width(), qPrintable(QString("%1 against %2").arg(narrow.width()).arg(plain.width())));
        QVERIFY2(red(narrow) > 4 * red(plain), qPrintable(QString("%1 against %2").arg(red(narrow)).arg(red(plain))));

        for (const QStringList& bad : {QStringList{"--picker-size", "10x10"}, QStringList{"--picker-size", "wide"},
                                       QStringList{"--picker-zoom", "-2"}}) {
            run_result run = launch(demo + bad + QStringList{"--quit"});
            QCOMPARE(run.status, 1);
            QVERIFY2(run.lines.join('\n').contains(bad[0]), qPrintable(run.lines.join('\n')));
        }
    }

    void screenshot()
    {
        run_result run = launch({"--mel", "createNode transform -n shot", "--screenshot", "@dir/shot.png", "--quit"});
        QCOMPARE(run.status, 0);
        QImage shot(dir_.filePath("shot.png"));
        QVERIFY(!shot.isNull());
        QVERIFY2(shot.width() >= 600 && shot.height() >= 400 && shot.width() <= 4000 && shot.height() <= 3000,
                 qPrintable(QString("%1x%2").arg(shot.width()).arg(shot.height())));
        // A blank grab would be one or two colours; a drawn window has text.
        QSet<QRgb> colours;
        for (int y = 0; y < shot.height(); y += 3)
            for (int x = 0; x < shot.width(); x += 3)
                colours.insert(shot.pixel(x, y));
        QVERIFY2(colours.size() > 20, qPrintable(QString::number(colours.size())));
    }
};

QTEST_GUILESS_MAIN(test_app)
#include "test_app.moc"
