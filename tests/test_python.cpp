// Python in the stand-in host: maya.cmds over the MEL commands, the MEL
// python command, and Python command buttons of the real plug-in.
#include "host_fixture.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class test_python : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;

    void fresh_scene()
    {
        picker_main::cleanup();
        h.reset();
        h.set_main_window(&main);
        nodes("hero", {"arm", "leg", "head"});
        run("createNode joint -n \"hero:root\" -ss");
        h.execute_python("import maya.cmds as cmds");
    }

    QByteArray window_bytes()
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        window()->streamTo(out);
        return bytes;
    }

    // A click on a button as the user makes it, then the idle queue runs.
    void click_button(const QString& label)
    {
        const int k = view()->find_button_index_from_label(label);
        QVERIFY(k >= 0);
        click(view(), view()->mapToScreen(view()->buttons()[k].bounds.center()));
        h.drain_idle();
    }

private slots:
    void initTestCase()
    {
        main.resize(300, 200);
        const QString failed = start_linked_picker(h, &main);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void init() { fresh_scene(); }

    void calling_convention_data()
    {
        QTest::addColumn<QString>("statements");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QString>("expected");
        QTest::newRow("flag by long name") << "cmds.select('hero:arm')" << "cmds.ls(selection=True)"
                                           << "['hero:arm']";
        QTest::newRow("flag by short name") << "cmds.select('hero:arm')" << "cmds.ls(sl=True)" << "['hero:arm']";
        QTest::newRow("false flag is left out") << "cmds.select('hero:leg')" << "cmds.ls('hero:a*', sl=False)"
                                                << "['hero:arm']";
        QTest::newRow("flag with a value") << "" << "cmds.ls(type='joint')" << "['hero:root']";
        QTest::newRow("list argument, flag after it")
            << "cmds.select(['hero:leg', 'hero:head'], replace=True); cmds.select('hero:arm', add=True)"
            << "cmds.ls(sl=True)" << "['hero:leg', 'hero:head', 'hero:arm']";
        QTest::newRow("empty list") << "cmds.select(cl=True)" << "cmds.ls(sl=True)" << "[]";
        QTest::newRow("no result is None") << "" << "cmds.select(cl=True)" << "None";
        QTest::newRow("string result") << "" << "cmds.createNode('joint', n='knee', ss=True)" << "'knee'";
        // Maya's Python answers yes-or-no questions with bool, not MEL's 1 and 0.
        QTest::newRow("bool result") << "" << "cmds.objExists('hero:arm')" << "True";
        QTest::newRow("bool result, no") << "" << "cmds.objExists('hero:nothing')" << "False";
        QTest::newRow("bool by a flag") << "" << "cmds.namespace(exists='hero')" << "True";
        // Attribute values and queries come typed as Maya's Python gives them.
        QTest::newRow("bool attribute") << "cmds.addAttr('hero:arm', ln='fk', at='bool', k=True)"
                                        << "cmds.getAttr('hero:arm.fk')" << "False";
        QTest::newRow("visibility") << "" << "cmds.getAttr('hero:arm.v')" << "True";
        QTest::newRow("long attribute") << "cmds.addAttr('hero:arm', longName='n', attributeType='long', dv=3)"
                                        << "cmds.getAttr('hero:arm.n')" << "3";
        QTest::newRow("float attribute") << "cmds.addAttr('hero:arm', ln='f', at='float'); cmds.setAttr('hero:arm.f', 0.1)"
                                         << "cmds.getAttr('hero:arm.f')" << "0.10000000149011612";
        QTest::newRow("attribute exists") << "" << "cmds.attributeQuery('tx', node='hero:arm', exists=True)" << "True";
        QTest::newRow("attribute limit") << "cmds.addAttr('hero:arm', ln='ik', min=0, max=1)"
                                         << "cmds.attributeQuery('ik', n='hero:arm', maximum=True)" << "[1.0]";
        QTest::newRow("enum names") << "cmds.addAttr('hero:arm', ln='s', at='enum', en='world:local')"
                                    << "cmds.attributeQuery('s', node='hero:arm', listEnum=True)" << "['world:local']";
        QTest::newRow("attribute deleted") << "cmds.addAttr('hero:arm', sn='w'); cmds.deleteAttr('hero:arm', at='w')"
                                           << "cmds.attributeQuery('w', node='hero:arm', ex=True)" << "False";
        QTest::newRow("float result") << "" << "cmds.getApplicationVersionAsFloat()" << "2022.0";
        QTest::newRow("query") << "cmds.currentUnit(linear='meter')" << "cmds.currentUnit(q=True, linear=True)"
                               << "'meter'";
        QTest::newRow("query by long name, flag first") << "cmds.file(modified=True)"
                                                        << "cmds.file(modified=True, query=True)" << "True";
        QTest::newRow("boolean value flag off") << "cmds.file(modified=True); cmds.file(mf=False)"
                                                << "cmds.file(q=True, mf=True)" << "False";
        QTest::newRow("MEL built-in") << "" << "cmds.match('b+', 'abbbc')" << "'bbb'";
        QTest::newRow("array to a built-in") << "" << "cmds.size(['a', 'b', 'c'])" << "3";
        QTest::newRow("plug-in command") << "cmds.QuillmarshPicker(); cmds.QuillmarshPicker('rename_tab', 'body')"
                                         << "cmds.QuillmarshPicker('query_tabs')" << "['body']";
        QTest::newRow("maya.mel") << "import maya.mel" << "maya.mel.eval('size(\"four\")')" << "4";
        QTest::newRow("unknown command") << "" << "hasattr(cmds, 'noSuchCommand')" << "False";
        QTest::newRow("commands listed") << "" << "{'ls', 'size', 'QuillmarshPicker'} <= set(dir(cmds))" << "True";
        QTest::newRow("one __main__ for every run") << "x = 4" << "x * 2" << "8";
    }

    void calling_convention()
    {
        QFETCH(QString, statements);
        QFETCH(QString, expression);
        QFETCH(QString, expected);
        QCOMPARE(repr(statements, expression), expected);
        QCOMPARE(errors(), QStringList());
    }

    // Python values reach a plug-in command with their types: what each
    // getter makes of each argument, "string|int|double|bool|array".
    void plugin_commands_take_python_types()
    {
        QString name, error;
        QVERIFY2(h.load_plugin(ECHO_PLUGIN_PATH, &name, &error), qPrintable(error));
        const QString got = repr("", "cmds.quillEcho('probe', 120, 40.5, 'hand', '7', True, False, ['a', 'b'], "
                                     "('c',), [], 2**40)");
        QVERIFY2(h.unload_plugin(name, &error), qPrintable(error));
        QCOMPARE(got, QString("['-|120|120|-|-', '-|-|40.5|-|-', 'hand|-|-|-|-', '7|7|7|-|-', '-|1|1|true|-', "
                              "'-|0|0|false|-', '-|-|-|-|2', '-|-|-|-|1', '-|-|-|-|0', '-|-|1099511627776|-|-']"));
        // Built-in commands still take Python's booleans as MEL's 1 and 0.
        QCOMPARE(repr("", "cmds.size([True, False])"), QString("2"));
        QCOMPARE(repr("", "cmds.match('1', True)"), QString("'1'"));
        QCOMPARE(errors(), QStringList());
    }

    void failed_commands_raise_runtime_error_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("message");
        QTest::newRow("built-in command") << "cmds.select('hero:arm', 'nobody')"
                                          << "select: No object matches name: nobody";
        QTest::newRow("unknown flag") << "cmds.ls(bogus=True)" << "ls: Invalid flag '-bogus'";
        QTest::newRow("MEL built-in") << "cmds.error('stop here')" << "stop here";
        QTest::newRow("plug-in directive")
            << "cmds.QuillmarshPicker('color_button', 'label', 'nobody', 'red')"
            << "QuillmarshPicker - color_button: Couldn't find any matching buttons! (label \"nobody\")";
        QTest::newRow("loadPlugin") << "cmds.loadPlugin('/nonexistent/x.so')"
                                    << "loadPlugin: Plug-in file \"/nonexistent/x.so\" not found.";
        QTest::newRow("maya.mel") << "maya.mel.eval('undefinedProc')"
                                  << "Cannot find procedure \"undefinedProc\".";
    }

    void failed_commands_raise_runtime_error()
    {
        QFETCH(QString, call);
        QFETCH(QString, message);
        run("QuillmarshPicker; select -r hero:leg");
        h.clear_output();
        QVERIFY(h.execute_python("import maya.mel\ntry:\n    " + call
                                 + "\n    caught = None\nexcept RuntimeError as e:\n    caught = str(e)\n"));
        mel::value v;
        QVERIFY(h.execute_python("caught", &v));
        QCOMPARE(v.to_string(), message);
        // Caught, so nothing else is said and nothing changed.
        QCOMPARE(errors(), QStringList());
        QCOMPARE(h.selection(), QStringList{"hero:leg"});
    }

    void mel_python_command_data()
    {
        QTest::addColumn<QString>("mel");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QStringList>("result");
        QTest::newRow("int") << "python(\"1 + 2\")" << int(mel::value::integer) << QStringList{"3"};
        QTest::newRow("float") << "python(\"0.5 * 3\")" << int(mel::value::number) << QStringList{"1.5"};
        QTest::newRow("string") << "python(\"'a' + 'b'\")" << int(mel::value::string) << QStringList{"ab"};
        QTest::newRow("list of strings") << "python(\"['x', 'y']\")" << int(mel::value::string_array)
                                         << QStringList{"x", "y"};
        QTest::newRow("list of ints") << "python(\"[1, 2]\")" << int(mel::value::int_array)
                                      << QStringList{"1", "2"};
        QTest::newRow("statements give an empty string") << "python(\"y = 5\")" << int(mel::value::string)
                                                         << QStringList{""};
        QTest::newRow("into a MEL variable")
            << "python \"import maya.cmds as cmds\"; string $s[] = python(\"cmds.ls('hero:l*')\"); $s"
            << int(mel::value::string_array) << QStringList{"hero:leg"};
    }

    void mel_python_command()
    {
        QFETCH(QString, mel);
        QFETCH(int, kind);
        QFETCH(QStringList, result);
        mel::value v;
        QVERIFY2(run(mel, &v), qPrintable(h.output_text()));
        QCOMPARE(int(v.type()), kind);
        QCOMPARE(v.to_strings(), result);
    }

    void deferred_python_runs_as_python_on_idle()
    {
        QVERIFY(h.execute_python("cmds.evalDeferred(\"cmds.select('hero:head', add=True)\")\n"
                                 "cmds.evalDeferred(lambda: cmds.select('hero:leg', add=True))\n"
                                 "cmds.select('hero:arm')"));
        QCOMPARE(h.selection(), QStringList{"hero:arm"});
        QCOMPARE(h.drain_idle(), 2);
        QCOMPARE(h.selection(), (QStringList{"hero:arm", "hero:head", "hero:leg"}));
        QCOMPARE(errors(), QStringList());
    }

    void python_output_and_errors_reach_the_script_output()
    {
        QVERIFY(run("python(\"print('one'); print('two', end='')\")"));
        QCOMPARE(h.output_text(), QString("one\ntwo"));
        h.clear_output();
        // An exception stops the MEL that ran it, like any failed command.
        QVERIFY(!run("python(\"1/0\"); print \"not reached\""));
        QCOMPARE(h.output_text(), QString("// Error: ZeroDivisionError: file <maya console> line 1: division by zero"));
        h.clear_output();
        // A deeper failure shows where it went through.
        QVERIFY(!h.execute_python("def f():\n    return cmds.select('nobody')\nf()"));
        const QStringList lines = h.output_text().split('\n');
        QCOMPARE(lines.first(), QString("Traceback (most recent call last):"));
        QCOMPARE(lines.last(), QString("// Error: RuntimeError: file <maya console> line 2: "
                                       "select: No object matches name: nobody"));
    }

    void python_error_in_a_button_changes_nothing_else_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown name") << "undefined_name()"
                                      << "NameError: file <maya console> line 1: name 'undefined_name' is not defined";
        QTest::newRow("failed command") << "import maya.cmds as cmds\\ncmds.select('nobody')"
                                        << "RuntimeError: file <maya console> line 2: "
                                           "select: No object matches name: nobody";
        QTest::newRow("syntax error") << "cmds.select(" << "SyntaxError: file <maya console> line 1: '(' was never closed";
        QTest::newRow("exit") << "raise SystemExit(3)" << "SystemExit: file <maya console> line 1: 3";
    }

    void python_error_in_a_button_changes_nothing_else()
    {
        QFETCH(QString, code);
        QFETCH(QString, error);
        QVERIFY(run("QuillmarshPicker; select -r hero:arm; QuillmarshPicker add_button 20 20 arm;"
                    "select -r hero:leg; QuillmarshPicker add_button 60 20 leg;"
                    "QuillmarshPicker add_cmd_button 120 20 bad python \"" + code + "\";"
                    "QuillmarshPicker add_cmd_button 120 60 good python "
                    "\"import maya.cmds as cmds\\ncmds.select('hero:leg', add=True)\";"
                    "select -r hero:head"));
        h.drain_idle();
        const QByteArray window = window_bytes();
        const QStringList nodes = h.nodes();
        h.set_modified(false);
        h.clear_output();

        click_button("bad");
        QCOMPARE(errors(), QStringList{error});
        QCOMPARE(h.selection(), QStringList{"hero:head"});
        QCOMPARE(window_bytes(), window);
        QCOMPARE(h.nodes(), nodes);
        QVERIFY(!h.modified());
        // Python is still there for the next button, whose selection the
        // picker shows.
        click_button("good");
        QCOMPARE(h.selection(), (QStringList{"hero:head", "hero:leg"}));
        QCOMPARE(int(view()->buttons()[0].selected), 0);
        QCOMPARE(int(view()->buttons()[1].selected), 1);
    }

    void python_build_script_matches_its_mel_twin()
    {
        const QString mel = R"MEL(
            QuillmarshPicker;
            QuillmarshPicker rename_tab body;
            select -r hero:arm; QuillmarshPicker add_button 20 30 arm;
            select -r hero:leg hero:head; QuillmarshPicker add_button 60 30 legs;
            QuillmarshPicker add_cmd_button 100 30 go python "print('go')";
            QuillmarshPicker add_cmd_button 100 70 all mel "select -all";
            QuillmarshPicker color_button label arm 255 128 0;
            QuillmarshPicker color_button_text label go "#102030";
            QuillmarshPicker set_button_properties label legs "L" 70 40 "" "" "" 30 12 "navy" "";
            QuillmarshPicker saveas "%1";
        )MEL";
        const QString python = R"PY(
import maya.cmds as cmds
cmds.QuillmarshPicker()
cmds.QuillmarshPicker('rename_tab', 'body')
cmds.select('hero:arm', r=True)
cmds.QuillmarshPicker('add_button', 20, 30, 'arm')
cmds.select(['hero:leg', 'hero:head'], replace=True)
cmds.QuillmarshPicker('add_button', 60, 30, 'legs')
cmds.QuillmarshPicker('add_cmd_button', 100, 30, 'go', 'python', "print('go')")
cmds.QuillmarshPicker('add_cmd_button', 100, 70, 'all', 'mel', 'select -all')
cmds.QuillmarshPicker('color_button', 'label', 'arm', 255, 128, 0)
cmds.QuillmarshPicker('color_button_text', 'label', 'go', '#102030')
cmds.QuillmarshPicker('set_button_properties', 'label', 'legs', 'L', 70, 40, '', '', '', 30, 12, 'navy', '')
cmds.QuillmarshPicker('saveas', r'%1')
)PY";
        const QString from_mel = dir.filePath("mel.pkr");
        const QString from_python = dir.filePath("python.pkr");
        QVERIFY2(run(mel.arg(from_mel)), qPrintable(h.output_text()));
        h.drain_idle();
        fresh_scene();
        QVERIFY2(h.execute_python(python.arg(from_python)), qPrintable(h.output_text()));
        h.drain_idle();

        QFile a(from_mel), b(from_python);
        QVERIFY(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        const QByteArray bytes = a.readAll();
        QVERIFY(bytes.size() > 100);
        QCOMPARE(b.readAll(), bytes);
        QCOMPARE(errors(), QStringList());
    }

    void a_scene_file_runs_no_python()
    {
        const QString scene = dir.filePath("sneaky.ma");
        QFile file(scene);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("requires maya \"2022\";\n"
                   "python \"import maya.cmds as cmds; cmds.createNode('transform', n='sneaky')\";\n"
                   "createNode transform -n \"kept\";\n");
        file.close();
        h.clear_output();
        h.open_scene(scene, nullptr);
        QCOMPARE(h.nodes(), QStringList{"kept"});
        QCOMPARE(h.output_text(), QString("// Warning: python: Python in a scene file is not run."));
    }

    void nested_python_stops_instead_of_overflowing()
    {
        QVERIFY(!h.execute_python("def again():\n    return cmds.python('again()')\nagain()"));
        QVERIFY(!errors().isEmpty());
        // Still usable afterwards.
        QCOMPARE(repr("", "cmds.objExists('hero:arm')"), QString("True"));
    }

    void cleanupTestCase() { picker_main::cleanup(); }
};

QTEST_MAIN(test_python)
#include "test_python.moc"
