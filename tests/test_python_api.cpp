// The Python module scripts import as quillmarsh_picker, over the real
// plug-in in the stand-in host: Python values out, keywords in, and the
// picker's errors as PickerError.
#include "host_fixture.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QtTest>

class test_python_api : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;

    // What a call raised: "Type: message [directive]", or "nothing".
    QString raised(const QString& call)
    {
        const QString code = "try:\n    " + call
                             + "\n    caught = 'nothing'\n"
                               "except Exception as e:\n"
                               "    caught = '%s: %s%s' % (type(e).__name__, e, "
                               "' [%s]' % e.directive if isinstance(e, qp.PickerError) else '')\n";
        if (!h.execute_python(code))
            return "did not run: " + h.output_text();
        mel::value v;
        h.execute_python("caught", &v);
        return v.to_string();
    }


    // The start of every test: five controls in hero, nothing selected, the
    // window open with one empty tab, the default side patterns.
    void fresh_scene()
    {
        picker_main::cleanup();
        h.reset();
        h.set_main_window(&main);
        nodes("hero", {"head_ctrl", "L_hand_ctrl", "R_hand_ctrl", "L_foot_ctrl", "R_foot_ctrl"});
        QVERIFY(run("QuillmarshPicker; QuillmarshPicker set_mirror_patterns")); // patterns outlive a scene
        h.drain_idle();
        QVERIFY2(h.execute_python("import maya.cmds as cmds\nimport quillmarsh_picker as qp"),
                 qPrintable(h.output_text()));
        h.clear_output();
    }

    // The buttons most tests start from.
    const QString some_buttons = "qp.add_button(50, 30, 'head', objects='hero:head_ctrl')\n"
                                 "qp.add_button(40, 150, 'L hand', objects=['hero:L_hand_ctrl'])\n"
                                 "qp.add_command_button(20, 20, 'Key', 'cmds.setKeyframe()', language='python')\n";

private slots:
    void initTestCase()
    {
        main.resize(300, 200);
        const QString failed = start_linked_picker(h, &main);
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        QVERIFY(h.execute_python("import sys\nsys.path.insert(0, '" MODULE_SCRIPTS "')"));
        fresh_scene();
    }

    void init() { fresh_scene(); }

    void results_are_python_values_data()
    {
        QTest::addColumn<QString>("statements");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QString>("expected");
        QTest::newRow("properties") << some_buttons << "qp.button_properties(label='head')"
                                    << "{'x': 50, 'y': 30, 'kind': 'select', 'language': 'mel', 'size': 10, "
                                       "'width': 10, 'height': 10, 'color': '#b22222', 'label_color': '#000000', 'shape': 'rectangle'}";
        QTest::newRow("properties of a command button")
            << some_buttons << "[qp.button_properties(at=(20, 20))[k] for k in ('kind', 'language')]"
            << "['command', 'python']";
        QTest::newRow("bounds grown by the label") << some_buttons << "qp.button_bounds(object='hero:head_ctrl')"
                                                   << "(29, 21, 44, 20)";
        QTest::newRow("objects") << some_buttons << "qp.button_objects(label='L hand')" << "['hero:L_hand_ctrl']";
        QTest::newRow("a command button's script") << some_buttons << "qp.button_objects(label='Key')"
                                                   << "['cmds.setKeyframe()']";
        QTest::newRow("no tabs, no names") << "qp.clear_tabs()" << "qp.tabs()" << "[]";
        QTest::newRow("namespaces") << "qp.add_button(1, 1, objects=['hero:head_ctrl'])" << "qp.namespaces()"
                                    << "['hero']";
        QTest::newRow("mirror patterns in pairs") << "qp.set_mirror_patterns([('lf_', 'rt_'), ('Lt', 'Rt')])"
                                                  << "qp.mirror_patterns()" << "[('lf_', 'rt_'), ('Lt', 'Rt')]";
        QTest::newRow("mirror with nothing missing")
            << "qp.add_button(40, 150, 'L hand', objects='hero:L_hand_ctrl')\nqp.select('hero:L_hand_ctrl')"
            << "qp.mirror_buttons(x=100), qp.button_properties(label='R hand')['x']" << "([], 160)";
        QTest::newRow("mirror names what is missing")
            << "cmds.createNode('transform', n='hero:L_eye_ctrl', ss=True)\n"
               "qp.add_button(40, 20, 'L eye', objects='hero:L_eye_ctrl')\nqp.select('hero:L_eye_ctrl')"
            << "qp.mirror_buttons(100, color=(46, 111, 216)), qp.button_properties(label='R eye')['color']"
            << "(['hero:R_eye_ctrl'], '#2e6fd8')";
    }

    void results_are_python_values()
    {
        QFETCH(QString, statements);
        QFETCH(QString, expression);
        QFETCH(QString, expected);
        QCOMPARE(repr(statements, expression), expected);
        QCOMPARE(errors(), QStringList());
    }

    // Every form of address reaches the same button; what follows the
    // address is a keyword.
    void edits_by_every_address()
    {
        QVERIFY2(h.execute_python(some_buttons), qPrintable(h.output_text()));
        QCOMPARE(repr("qp.move_button(label='head', to=(60, 35))\n"
                      "qp.resize_button(object='hero:head_ctrl', size=[24, 12])\n"
                      "qp.rename_button(at=(60, 35), to='Head')\n"
                      "qp.update_button(label='Head', to='hero:R_hand_ctrl')",
                      "qp.button_properties(label='Head')['x'], qp.button_objects(object='hero:R_hand_ctrl')"),
                 QString("(60, ['hero:R_hand_ctrl'])"));
        QCOMPARE(repr("qp.set_button_properties(label='Head', new_label='face', width=30, color=(0, 0, 128), "
                      "kind='command', language='python')",
                      "qp.button_properties(label='face')"),
                 QString("{'x': 60, 'y': 35, 'kind': 'command', 'language': 'python', 'size': 30, 'width': 30, "
                         "'height': 12, 'color': '#000080', 'label_color': '#000000', 'shape': 'rectangle'}"));
        QCOMPARE(repr("qp.color_button(label='face', color='white', label_color=(255, 0, 0))",
                      "[qp.button_properties(label='face')[k] for k in ('color', 'label_color')]"),
                 QString("['#ffffff', '#ff0000']"));
        QCOMPARE(repr("qp.color_button(object='hero:L_hand_ctrl', label_color='navy')",
                      "[qp.button_properties(label='L hand')[k] for k in ('color', 'label_color')]"),
                 QString("['#b22222', '#000080']"));
        QCOMPARE(repr("qp.delete_button(at=(60, 35))", "qp.button_objects(label='L hand')"),
                 QString("['hero:L_hand_ctrl']"));
        QCOMPARE(raised("qp.button_objects(label='face')"),
                 QString("PickerError: Couldn't find any matching buttons! (label \"face\") [query_button]"));
        QCOMPARE(errors(), QStringList());
    }

    // Mistakes the module sees itself are Python's own errors and reach
    // no directive.
    void mistakes_in_the_call_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("type");
        QTest::newRow("no address") << "qp.move_button(to=(1, 2))" << "TypeError";
        QTest::newRow("two addresses") << "qp.delete_button(label='head', object='hero:head_ctrl')" << "TypeError";
        QTest::newRow("address by position") << "qp.delete_button('head')" << "TypeError";
        QTest::newRow("point not a pair") << "qp.delete_button(at=50)" << "TypeError";
        QTest::newRow("coordinate as text") << "qp.move_button(label='head', to=('60', 35))" << "TypeError";
        QTest::newRow("two channels") << "qp.color_button(label='head', color=(1, 2))" << "TypeError";
        QTest::newRow("no colour") << "qp.color_button(label='head')" << "TypeError";
        QTest::newRow("unknown language") << "qp.add_command_button(1, 2, 'x', 'y', language='ruby')"
                                          << "ValueError";
        QTest::newRow("unknown kind") << "qp.set_button_properties(label='head', kind='toggle')" << "ValueError";
        QTest::newRow("channel beyond a byte") << "qp.set_button_properties(label='head', color=(0, 0, 256))"
                                               << "ValueError";
    }

    void mistakes_in_the_call()
    {
        QFETCH(QString, call);
        QFETCH(QString, type);
        QVERIFY2(h.execute_python(some_buttons), qPrintable(h.output_text()));
        const QString before = repr("", "qp.button_properties(label='head'), qp.tabs()");
        QVERIFY(raised(call).startsWith(type + ": "));
        QCOMPARE(repr("", "qp.button_properties(label='head'), qp.tabs()"), before);
        QCOMPARE(errors(), QStringList());
    }

    // What the picker refuses raises PickerError, a RuntimeError, with the
    // picker's own message, and changes nothing.
    void picker_errors_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("error");
        QTest::newRow("no such button") << "qp.button_bounds(at=(500, 500))"
                                        << "Couldn't find any matching buttons! (at 500, 500) [get_button_bounds]";
        QTest::newRow("unknown colour")
            << "qp.color_button(label='head', color='reddish')"
            << "the colour must be a colour name or #rrggbb, not \"reddish\" [color_button]";
        QTest::newRow("channel out of range")
            << "qp.color_button(label='head', color=(300, 0, 0))"
            << "red must be a whole number from 0 to 255, not 300 [color_button]";
        QTest::newRow("label colour refused, colour kept")
            << "qp.color_button(label='head', color='navy', label_color='reddish')"
            << "the colour must be a colour name or #rrggbb, not \"reddish\" "
               "[color_button_text]";
        QTest::newRow("none of the objects")
            << "qp.select(['hero:L_horn_ctrl'])"
            << "not in the scene: hero:L_horn_ctrl [select]";
        QTest::newRow("an object to bind is missing")
            << "qp.add_button(5, 5, 'horn', objects=['hero:head_ctrl', 'hero:L_horn_ctrl'])"
            << "add_button: select: No object matches name: hero:L_horn_ctrl [add_button]";
        QTest::newRow("nothing to bind") << "qp.add_button(5, 5, 'horn')"
                                         << "add_button: nothing is selected to bind the button to [add_button]";
    }

    void picker_errors()
    {
        QFETCH(QString, call);
        QFETCH(QString, error);
        QVERIFY2(h.execute_python(some_buttons + "qp.select('hero:R_foot_ctrl')"), qPrintable(h.output_text()));
        h.drain_idle();
        const QString state = "qp.button_properties(label='head'), qp.tabs(), qp.button_objects(at=(40, 150)), "
                              "cmds.ls(selection=True)";
        const QString before = repr("", state);
        h.clear_output();
        if (QTest::currentDataTag() == QByteArray("nothing to bind"))
            run("select -cl");
        QCOMPARE(raised(call), "PickerError: " + error);
        QCOMPARE(repr("", "isinstance(caught, str) and issubclass(qp.PickerError, RuntimeError)"), QString("True"));
        if (QTest::currentDataTag() != QByteArray("nothing to bind"))
            QCOMPARE(repr("", state), before);
        QCOMPARE(errors(), QStringList());
    }

    // Objects given to add_button are bound without the user's selection
    // changing, and one undo leaves it as it was.
    void add_button_keeps_the_selection()
    {
        run("select -r hero:R_foot_ctrl hero:L_foot_ctrl");
        QCOMPARE(repr("qp.add_button(120, 40, 'hands', objects=['hero:L_hand_ctrl', 'hero:R_hand_ctrl'])",
                      "qp.button_objects(label='hands'), cmds.ls(selection=True)"),
                 QString("(['hero:L_hand_ctrl', 'hero:R_hand_ctrl'], ['hero:R_foot_ctrl', 'hero:L_foot_ctrl'])"));
        QCOMPARE(result("undoInfo -q -undoName"), QStringList{"quillmarsh_picker.add_button"});
        QVERIFY(run("undo"));
        QCOMPARE(h.selection(), (QStringList{"hero:R_foot_ctrl", "hero:L_foot_ctrl"}));
        // Nothing selected stays so; the button lights for what Maya selects.
        run("select -cl");
        QCOMPARE(repr("qp.add_button(50, 30, 'head', objects='hero:head_ctrl')", "cmds.ls(selection=True)"),
                 QString("[]"));
        QVERIFY(run("select -r hero:head_ctrl"));
        h.drain_idle();
        const int head = view()->find_button_index_from_label("head");
        QVERIFY(head >= 0);
        QCOMPARE(int(view()->buttons()[head].selected), 1);
        // Without objects, Maya's selection is bound.
        QCOMPARE(repr("qp.add_button(80, 30)", "qp.button_objects(at=(80, 30))"), QString("['hero:head_ctrl']"));
        QCOMPARE(errors(), QStringList());
    }

    void selection_and_clicks()
    {
        QVERIFY2(h.execute_python("qp.add_button(120, 300, 'feet', objects=['hero:L_foot_ctrl', 'hero:R_foot_ctrl'])\n"
                                  "qp.add_command_button(20, 20, 'Head', \"cmds.select('hero:head_ctrl')\", "
                                  "language='python')\n"
                                  "qp.select(['hero:L_hand_ctrl', 'hero:nothing'])"),
                 qPrintable(h.output_text()));
        QCOMPARE(h.selection(), QStringList{"hero:L_hand_ctrl"});
        QCOMPARE(h.output_text(), QString("// Warning: QuillmarshPicker - select: not in the scene: hero:nothing"));
        QVERIFY(h.execute_python("qp.clear()"));
        QCOMPARE(h.selection(), QStringList());
        QVERIFY(h.execute_python("qp.select('hero:head_ctrl')\nqp.select([])"));
        QCOMPARE(h.selection(), QStringList());
        // A press reaches Maya when it is next idle, as a click does.
        QVERIFY(h.execute_python("qp.press_button(label='feet')"));
        h.drain_idle();
        QCOMPARE(h.selection(), (QStringList{"hero:L_foot_ctrl", "hero:R_foot_ctrl"}));
        QVERIFY(h.execute_python("qp.press_button(at=(20, 20))"));
        h.drain_idle();
        QCOMPARE(h.selection(), QStringList{"hero:head_ctrl"});
        QCOMPARE(errors(), QStringList());
    }

    void tabs_and_files()
    {
        const QString path = dir.filePath("hero.pkr");
        QCOMPARE(repr(QString("qp.rename_tab('hero')\n"
                              "qp.add_button(50, 30, 'head', objects='hero:head_ctrl')\n"
                              "import pathlib\n"
                              "qp.save(pathlib.Path('%1'))\n"
                              "qp.new_tab('face')\n"
                              "qp.open('%1')\n"
                              "qp.set_tab('face')\n"
                              "qp.close_tab()")
                          .arg(path),
                      "qp.tabs(), qp.button_objects(label='head')"),
                 QString("(['hero', 'hero'], ['hero:head_ctrl'])"));
        QVERIFY(QFile::exists(path));
        // Several files at once.
        QCOMPARE(repr(QString("qp.open(['%1', '%1'])").arg(path), "len(qp.tabs())"), QString("4"));
        QCOMPARE(errors(), QStringList());
    }

    void scene_data_and_batches()
    {
        QVERIFY(run("fileInfo -rm QuillmarshPickerData"));
        QCOMPARE(repr("qp.rename_tab('kept')\nqp.flush()", "len(cmds.fileInfo('QuillmarshPickerData', query=True))"),
                 QString("1"));
        // The hold lasts to the end of the outermost block, and ends when a
        // block fails.
        QVERIFY(h.execute_python("held = []\n"
                                 "try:\n"
                                 "    with qp.batch():\n"
                                 "        with qp.batch():\n"
                                 "            qp.add_button(50, 30, 'head', objects='hero:head_ctrl')\n"
                                 "        qp.add_button(60, 30, 'hand', objects='hero:L_hand_ctrl')\n"
                                 "        raise KeyError('stop')\n"
                                 "except KeyError:\n"
                                 "    pass\n"));
        QVERIFY(!picker_main::book()->notices_held());
        QCOMPARE(repr("", "qp.namespaces()"), QString("['hero']"));
        bool held_inside = false;
        QVERIFY(h.execute_python("b = qp.batch()\nb.__enter__()"));
        held_inside = picker_main::book()->notices_held();
        QVERIFY(h.execute_python("b.__exit__(None, None, None)"));
        QVERIFY(held_inside);
        QVERIFY(!picker_main::book()->notices_held());
        QCOMPARE(errors(), QStringList());
    }

    // ----- The queries of the newest directives

    void buttons_as_dicts()
    {
        QCOMPARE(repr("qp.clear_tabs(); qp.new_tab()", "qp.buttons()"), QString("[]"));
        QVERIFY2(h.execute_python(some_buttons), qPrintable(h.output_text()));
        QCOMPARE(repr("", "qp.buttons()[0]"),
                 QString("{'label': 'head', 'kind': 'select', 'names': ['hero:head_ctrl'], 'x': 50, 'y': 30, "
                         "'width': 10, 'height': 10, 'bounds': (29, 21, 44, 20), 'color': '#b22222', "
                         "'label_color': '#000000', 'script': None, 'language': None}"));
        QCOMPARE(repr("", "{k: v for k, v in qp.buttons()[2].items() if k != 'bounds'}"),
                 QString("{'label': 'Key', 'kind': 'command', 'names': [], 'x': 20, 'y': 20, 'width': 10, "
                         "'height': 10, 'color': '#b22222', 'label_color': '#000000', "
                         "'script': 'cmds.setKeyframe()', 'language': 'python'}"));
        QCOMPARE(repr("", "[b['bounds'] for b in qp.buttons()] == [qp.button_bounds(label=b['label']) "
                          "for b in qp.buttons()]"),
                 QString("True"));
        QCOMPARE(repr("", "[b['label'] for b in qp.buttons()]"), QString("['head', 'L hand', 'Key']"));
    }

    void current_tab_and_background()
    {
        QImage picture(64, 32, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        const QString png = dir.filePath("body.png");
        QVERIFY(picture.save(png));
        QCOMPARE(repr("qp.new_tab('face')\nqp.set_tab('Untitled')", "qp.current_tab(), qp.background()"),
                 QString("('Untitled', None)"));
        QCOMPARE(repr(QString("qp.set_background('%1')").arg(png),
                      "[qp.background()[k] for k in ('width', 'height')], bool(qp.background()['key'])"),
                 QString("([64, 32], True)"));
        QCOMPARE(repr("qp.set_background(None)", "qp.background()"), QString("None"));
        QVERIFY(raised("qp.clear_tabs(); qp.current_tab()").startsWith("PickerError: "));
        QVERIFY(raised("qp.move_button(label='head', to=(1, 1))").startsWith("PickerError: "));
    }

    // A picture is reported after a polygon's points without spoiling them.
    void button_pictures()
    {
        QImage picture(24, 16, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        const QString png = dir.filePath("icon.png");
        QVERIFY(picture.save(png));
        QVERIFY2(h.execute_python(some_buttons), qPrintable(h.output_text()));
        QCOMPARE(repr(QString("qp.set_button_shape(label='head', shape='polygon', points=[(40, 20), (80, 20), (60, 50)])\n"
                              "qp.set_button_image(label='head', path='%1')").arg(png),
                      "[qp.button_properties(label='head')[k] for k in ('points', 'picture')], qp.buttons()[0]['picture']"),
                 QString("([[(40, 20), (80, 20), (60, 50)], (24, 16)], (24, 16))"));
        QCOMPARE(repr("qp.set_button_image(label='head', path=None)", "'picture' in qp.button_properties(label='head')"),
                 QString("False"));
        QVERIFY(raised("qp.set_button_image(label='head', path='/no/such.png')").startsWith("PickerError: "));
    }

    void namespaces_and_bindings()
    {
        nodes("villain", {"head_ctrl", "L_hand_ctrl"});
        nodes("prop", {"sword"});
        const QString path = dir.filePath("bound.pkr");
        const QString build = QString("qp.add_button(50, 30, 'head', objects='hero:head_ctrl')\n"
                                      "qp.save('%1')\n"
                                      "qp.add_button(90, 30, 'sword', objects='prop:sword')")
                                  .arg(path);
        QVERIFY2(h.execute_python(build), qPrintable(h.output_text()));
        QCOMPARE(repr("", "qp.check_bindings()"), QString("[]"));
        QCOMPARE(repr("qp.update_namespace('villain', old='hero')", "qp.namespaces()"),
                 QString("['prop', 'villain']"));
        QCOMPARE(repr("qp.update_button(label='head', to='villain:gone')", "qp.check_bindings()"),
                 QString("[('head', 'villain:gone')]"));
        QCOMPARE(repr(QString("qp.open('%1', namespace='villain')").arg(path),
                      "len(qp.tabs()), qp.button_objects(label='head')"),
                 QString("(2, ['villain:head_ctrl'])"));
        QCOMPARE(errors(), QStringList());
    }

    void cleanupTestCase() { picker_main::cleanup(); }
};

QTEST_MAIN(test_python_api)
#include "test_python_api.moc"
