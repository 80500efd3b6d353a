// Scripting the picker with real MEL in the stand-in host: the button
// directives, namespace binding and the namespace chooser.
#include "edit/button_commands.h"
#include "edit/mirror_command.h"
#include "edit/property_commands.h"
#include "host_fixture.h"
#include "modal_helper.h"
#include "model/namespaces.h"
#include "page_oracle.h"
#include "pkr_file.h"
#include "model/scene_data.h"
#include "window/namespace_dialog.h"

#include <QAction>
#include <QBuffer>
#include <QComboBox>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QtTest>

namespace {

const QString built_in = "L_ R_ _L _R left right Left Right LEFT RIGHT";

const QStringList all_directives = {
    "clear", "select", "restore", "fetch_image", "set_background", "clear_background", "bind", "rebind",
    "update_namespace", "new_tab", "close_tab", "clear_tabs", "rename_tab", "query_tabs", "set_tab",
    "add_button", "add_cmd_button", "move_button", "rename_button", "update_button", "delete_button",
    "query_button", "get_button_bounds", "resize_button", "color_button", "color_button_text",
    "get_button_properties", "set_button_properties", "get_namespaces", "enable_batch_mode",
    "disable_batch_mode", "press_button", "mirror_buttons", "set_mirror_patterns", "get_mirror_patterns"};

// A Python literal holding text.
QString python_text(QString text)
{
    return '"' + text.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n") + '"';
}

// Every button of the current tab as text, for before/after comparisons.
QStringList describe(picker_view* view)
{
    QStringList out;
    if (!view)
        return out;
    for (const buttonRecord& r : view->buttons())
        out << QString("%1,%2 %3 %4x%5 k%6 l%7 %8 %9 '%10' [%11]")
                   .arg(r.pos.x()).arg(r.pos.y()).arg(r.size).arg(r.width).arg(r.height).arg(r.kind)
                   .arg(r.language).arg(r.color, 0, 16).arg(r.labelColor, 0, 16).arg(r.label)
                   .arg(r.names.join(','));
    return out;
}

// Hands every dialog that opens while it lives to `act`, counting them; by
// default refuses them: a script must never wait on one.
struct no_dialogs {
    QTimer timer;
    int seen = 0;
    explicit no_dialogs(std::function<void(QWidget*)> act = [](QWidget* modal) { modal_helper::answer(modal, {}); })
    {
        QObject::connect(&timer, &QTimer::timeout, [this, act] {
            if (QWidget* modal = modal_helper::waiting_dialog()) {
                ++seen;
                act(modal);
            }
        });
        timer.start(10);
    }
};

} // namespace

class test_directives : public QObject, host_fixture {
    Q_OBJECT

    // A left click at a picker point of the front view.
    void click_at(QPoint at) { click(view(), view()->mapToScreen(at)); }

    // A fresh tab with one selection button per name, labelled b0, b1, ...
    void buttons_named(const QStringList& names)
    {
        run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab");
        for (int i = 0; i < names.size(); ++i)
            QVERIFY2(run(QString("select -r rig:arm; QuillmarshPicker add_button %1 10 b%2;"
                                 "QuillmarshPicker update_button label b%2 \"%3\"")
                             .arg(10 + 30 * i).arg(i).arg(names[i])),
                     qPrintable(h.output_text()));
        run("select -cl");
        h.drain_idle();
        h.clear_output();
    }

    // Every name of every button of the current tab, in order.
    QStringList all_names()
    {
        QStringList out;
        for (const buttonRecord& r : view()->buttons())
            out << r.names;
        return out;
    }

    // One tab holding rig:arm (label "arm") at (10, 20) and rig:leg at (60, 20).
    void arm_and_leg()
    {
        run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab");
        run("select -r rig:arm; QuillmarshPicker add_button 10 20 \"arm\";"
            "select -r rig:leg; QuillmarshPicker add_button 60 20; select -cl;");
        h.drain_idle();
        h.clear_output();
    }

    // rig:L_arm and rig:L_leg on the left of a 200 pixel picture; rig:R_arm
    // exists, rig:R_leg does not.
    void left_side()
    {
        QTemporaryDir dir;
        QImage picture(200, 120, QImage::Format_RGB32);
        picture.fill(Qt::gray);
        QVERIFY(picture.save(dir.filePath("back.png")));
        QVERIFY(run(QString("QuillmarshPicker set_background \"%1\";"
                            "createNode transform -n \"rig:L_arm\" -ss; createNode transform -n \"rig:R_arm\" -ss;"
                            "createNode transform -n \"rig:L_leg\" -ss;"
                            "select -r rig:L_arm; QuillmarshPicker add_button 150 40 \"L arm\";"
                            "QuillmarshPicker color_button label \"L arm\" 192 57 43;"
                            "select -r rig:L_leg; QuillmarshPicker add_button 160 80;"
                            "select -r rig:L_arm rig:L_leg; QuillmarshPicker add_button 170 10 \"L side\";"
                            "QuillmarshPicker add_cmd_button 180 100 go mel \"select -r rig:L_arm\"")
                        .arg(dir.filePath("back.png"))));
        h.drain_idle();
        h.clear_output();
    }

private slots:
    void initTestCase()
    {
        const QString failed = open_picker_window();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
    }

    void init()
    {
        h.execute("QuillmarshPicker set_mirror_patterns -default");
        h.execute("file -f -new");
        h.clear_output();
        nodes("rig", {"arm", "leg", "hand"});
        arm_and_leg();
    }

    // Scripts run directives (add, delete, move, recolour, rename, rebind,
    // mirror) between the user's undoable edits and undo and redo: each step
    // acts on the buttons it touched and no other, checked after every step
    // against a reference kept by button id.
    void directives_and_undo_never_cross()
    {
        run("namespace -add hero");
        for (int k = 0; k < 4; ++k)
            run(QString("createNode transform -n \"rig:n%1\" -ss; createNode transform -n \"hero:n%1\" -ss").arg(k));
        for (quint32 seed = 1; seed <= 4; ++seed) {
            // Every name has a side, so every button mirrors.
            run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; select -cl;"
                "QuillmarshPicker set_mirror_patterns n0 n1 n2 n3");
            h.drain_idle();
            QRandomGenerator rnd(seed);
            auto below = [&](int n) { return int(rnd.bounded(quint32(n))); };
            picker_page* page = view()->page();
            QUndoStack* stack = view()->undoer();
            page_oracle oracle;
            int made = 0;
            for (int stepNo = 0; stepNo < 160; ++stepNo) {
                const int n = page->count();
                const int what = n ? below(12) : 0;
                // Mirrored copies share labels: a label means the first of them.
                const int k = n ? view()->find_button_index_from_label(page->at(below(n)).label) : -1;
                switch (what) {
                case 0: { // add, bound to what the host has selected
                    const QString name = QString("%1:n%2").arg(below(2) ? "rig" : "hero").arg(below(4));
                    const QPoint at(below(400), below(300));
                    button_look look;
                    look.label = QString("b%1").arg(made++);
                    QVERIFY(run(QString("select -r %1; QuillmarshPicker add_button %2 %3 %4; select -cl")
                                    .arg(name).arg(at.x()).arg(at.y()).arg(look.label)));
                    oracle.buttons.insert(page->at(page->count() - 1).id, new_button(at, look, 0, 0, {name}));
                    break;
                }
                case 1:
                    oracle.buttons.remove(page->at(k).id);
                    QVERIFY(run("QuillmarshPicker delete_button label " + page->at(k).label));
                    break;
                case 2: { // move, recolour, rename and bind to other names
                    buttonAttributes& a = oracle.buttons[page->at(k).id];
                    const QString label = page->at(k).label;
                    const int r = below(256), g = below(256), b = below(256);
                    a.pos = QPoint(below(400), below(300));
                    a.color = qRgb(r, g, b);
                    a.label = QString("s%1").arg(made++);
                    a.names = QStringList{QString("%1:n%2").arg(below(2) ? "rig" : "other").arg(below(4))};
                    QVERIFY(run(QString("QuillmarshPicker move_button label %1 %2 %3;"
                                        "QuillmarshPicker color_button label %1 %4 %5 %6;"
                                        "QuillmarshPicker rename_button label %1 %7;"
                                        "QuillmarshPicker update_button label %7 %8")
                                    .arg(label).arg(a.pos.x()).arg(a.pos.y()).arg(r).arg(g).arg(b).arg(a.label)
                                    .arg(a.names[0])));
                    break;
                }
                case 3: { // move one namespace the picker uses: an undo step of its own
                    QStringList used;
                    for (const buttonRecord& r : page->buttons())
                        for (const QString& name : r.names)
                            if (!used.contains(name.section(':', 0, 0)))
                                used << name.section(':', 0, 0);
                    if (used.isEmpty())
                        break;
                    const QString from = used[below(used.size())];
                    const QString to = below(2) ? "rig" : "hero";
                    page_oracle::step s;
                    s.what = page_oracle::names;
                    for (const buttonRecord& r : page->buttons()) {
                        buttonAttributes after = r;
                        for (QString& name : after.names)
                            if (name.section(':', 0, 0) == from)
                                name = to + name.mid(name.indexOf(':'));
                        if (after.names == r.names)
                            continue;
                        s.ids << r.id;
                        s.before << r;
                        s.after << after;
                    }
                    const int index = stack->index();
                    QVERIFY(run(QString("QuillmarshPicker update_namespace %1 %2").arg(from, to)));
                    if (stack->index() == index + 1) // nothing to move makes no step
                        oracle.pushed(s, false);
                    break;
                }
                case 4:
                    if (stack->canUndo()) {
                        stack->undo();
                        oracle.undo();
                    }
                    break;
                case 5:
                    if (stack->canRedo()) {
                        stack->redo();
                        oracle.redo();
                    }
                    break;
                default: { // the user picks some buttons and edits or mirrors them
                    page->clear_selected(true);
                    page_oracle::step s;
                    for (int j = 0; j < n; ++j)
                        if (below(3) == 0) {
                            page->select(j, true);
                            s.ids << page->at(j).id;
                            s.before << page->at(j);
                        }
                    const QVector<button_id> chosen = s.ids;
                    s.after = s.before;
                    const int index = stack->index();
                    switch (below(5)) {
                    case 0: {
                        const quint32 c = quint32(below(8));
                        s.what = page_oracle::color;
                        for (buttonAttributes& a : s.after)
                            a.color = c;
                        stack->push(new change_color_cmd(page, c));
                        break;
                    }
                    case 1: {
                        const QPoint d(below(5) - 2, below(5) - 2);
                        s.what = page_oracle::pos;
                        for (buttonAttributes& a : s.after)
                            a.pos += d;
                        stack->push(new nudge_buttons_cmd(page, d));
                        break;
                    }
                    case 2:
                        s.what = page_oracle::whole;
                        s.removes = true;
                        stack->push(new delete_buttons_cmd(page));
                        break;
                    default: { // mirrored about x = 500 by the directive
                        s = page_oracle::step();
                        s.what = page_oracle::whole;
                        s.adds = true;
                        const int before = page->count();
                        run("QuillmarshPicker mirror_buttons 500");
                        for (int j = before; j < page->count(); ++j) {
                            s.ids << page->at(j).id;
                            s.after << page->at(j);
                        }
                        // The copies are the chosen buttons flipped, those not there already.
                        QVector<buttonAttributes> expected;
                        for (button_id id : chosen) {
                            buttonAttributes c = oracle.buttons.value(id);
                            c.pos.setX(1000 - c.pos.x());
                            c.names = QStringList{mirror::map_name(c.names.first(), page->mirror_patterns())};
                            bool there = false;
                            for (const buttonAttributes& o : oracle.buttons)
                                there = there || (o.kind == c.kind && o.pos == c.pos && o.names == c.names);
                            if (!there)
                                expected << c;
                        }
                        QCOMPARE(s.after, expected);
                        s.before = s.after;
                        break;
                    }
                    }
                    // A mirror with nothing to copy makes no step; an edit
                    // like the last one on the same buttons merges into it.
                    if (stack->index() == index + 1)
                        oracle.pushed(s, false);
                    else if (!s.adds && index > 0)
                        oracle.pushed(s, true);
                    break;
                }
                }
                h.drain_idle();
                QString why;
                QVERIFY2(page_matches(*page, oracle, &why),
                         qPrintable(QString("seed %1, step %2 (%3): %4").arg(seed).arg(stepNo).arg(what).arg(why)));
            }
        }
    }

    // Buttons are addressed by label, by name and by picture pixel, whatever
    // the view's zoom and shift.
    void results_and_edits_by_name_and_by_point_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("expected");
        const QString props = "QuillmarshPicker get_button_properties object rig:leg";
        QTest::newRow("move by name") << "QuillmarshPicker move_button object rig:leg 100.9 -5.7" << props
                                      << QStringList{"100", "-5", "0", "0", "10", "10", "10", "#b22222", "#000000", "rectangle"};
        QTest::newRow("moved by point, edited at the new point")
            << "QuillmarshPicker move_button x 60 20 300 310; QuillmarshPicker color_button x 300 310 1 2 3;"
               "QuillmarshPicker resize_button x 300 310 20 8"
            << props << QStringList{"300", "310", "0", "0", "20", "20", "8", "#010203", "#000000", "rectangle"};
        QTest::newRow("rename by point") << "QuillmarshPicker rename_button x 60 20 \"\""
                                         << "QuillmarshPicker get_button_bounds x 60 20"
                                         << QStringList{"56", "16", "10", "10"};
        QTest::newRow("query a pixel off the centre") << "" << "QuillmarshPicker query_button x 14 24"
                                                       << QStringList{"rig:arm"};
        QTest::newRow("added at a picture pixel")
            << "select -r rig:hand; QuillmarshPicker add_button 200 150 hand"
            << "QuillmarshPicker get_button_properties label hand"
            << QStringList{"200", "150", "0", "0", "10", "10", "10", "#b22222", "#000000", "rectangle"};
        QTest::newRow("set properties")
            << "QuillmarshPicker set_button_properties object rig:leg \"L\" 5 6 \"\" 1 \"\" 30 8 \"#102030\" \"#ffffff\""
            << props << QStringList{"5", "6", "0", "1", "30", "30", "8", "#102030", "#ffffff", "rectangle"};
        QTest::newRow("set properties, all empty, by point")
            << "QuillmarshPicker set_button_properties p 60 20 \"\" \"\" \"\" \"\" \"\" \"\" \"\" \"\" \"\" \"\""
            << props << QStringList{"60", "20", "0", "0", "10", "10", "10", "#b22222", "#000000", "rectangle"};
    }

    void results_and_edits_by_name_and_by_point()
    {
        QFETCH(QString, command);
        QFETCH(QString, query);
        QFETCH(QStringList, expected);
        view()->setZoom(0.5f, QPoint(0, 0));
        view()->setShift(QPoint(37, -12));
        QVERIFY2(run(command), qPrintable(h.output_text()));
        QCOMPARE(result(query), expected);
        QCOMPARE(h.error_count(), 0);
    }

    // Numbers reach the directives as MEL numbers, as quoted text, through
    // function syntax and from Python; each way gives the same results.
    void numbers_come_as_numbers_or_as_text()
    {
        const QList<QStringList> steps = {
            {"add_button", "120", "40", "hand"},
            {"move_button", "label", "hand", "130.75", "45"},
            {"resize_button", "label", "hand", "24", "16"},
            {"color_button", "label", "hand", "10", "200", "30"},
            {"color_button_text", "x", "130", "45", "1", "2", "3"},
            {"get_button_bounds", "x", "130", "45"},
            {"get_button_properties", "x", "130", "45"},
            {"rename_button", "x", "130", "45", "grip"},
            {"update_button", "x", "130", "45", "rig:arm"},
            {"query_button", "x", "130", "45"},
            {"set_button_properties", "label", "grip", "", "150", "60.5", "0", "", "12", "30", "8", "", ""},
            {"add_cmd_button", "200", "100.5", "go", "mel", "select -cl"},
            {"press_button", "x", "200", "100"},
            {"delete_button", "x", "150", "60"},
        };
        const auto number = [](const QString& t) {
            bool ok = false;
            t.toDouble(&ok);
            return ok;
        };
        const auto quoted = [](QString t, QChar q) { return q + t.replace('\\', "\\\\").replace(q, QString("\\") + q) + q; };
        QVERIFY(h.execute_python("import maya.cmds as cmds"));
        enum form { text, command, function, python };
        QStringList first;
        for (form f : {text, command, function, python}) {
            arm_and_leg();
            run("select -r rig:hand");
            QStringList got;
            for (const QStringList& step : steps) {
                QStringList args;
                for (const QString& t : step)
                    args << (f != text && number(t) ? t : quoted(t, f == python ? '\'' : '"'));
                mel::value v;
                bool ok = false;
                if (f == python)
                    ok = h.execute_python("cmds.QuillmarshPicker(" + args.join(", ") + ")", &v);
                else if (f == function)
                    ok = h.execute("QuillmarshPicker(" + args.join(", ") + ")", &v);
                else
                    ok = h.execute("QuillmarshPicker " + args.join(' '), &v);
                QVERIFY2(ok, qPrintable(QString("form %1, %2: %3").arg(f).arg(step.join(' '), h.output_text())));
                got << step[0] + ": " + v.to_strings().join(' ');
            }
            got << describe(view());
            if (f == text)
                first = got;
            else
                QCOMPARE(got, first);
        }
        QVERIFY2(first.contains("get_button_properties: 130 45 0 0 24 24 16 #0ac81e #010203 rectangle"), qPrintable(first.join('\n')));

        // Python's booleans are the channels 1 and 0.
        QVERIFY(h.execute_python("cmds.QuillmarshPicker('color_button', 'label', 'go', True, False, True)"));
        QCOMPARE(result("QuillmarshPicker get_button_properties label go").value(7), QString("#010001"));
        QCOMPARE(h.error_count(), 0);
    }

    void add_needs_a_selection_but_a_command_button_needs_nothing()
    {
        // Nothing selected in the host: no selection button, and that is no
        // error; a command button needs no selection, language or script.
        QVERIFY(run("select -cl; QuillmarshPicker add_button 5 5; QuillmarshPicker add_cmd_button 40 6 c"));
        QCOMPARE(describe(view()).mid(2), QStringList{"40,6 10 10x10 k1 l0 b22222 0 'c' []"});
        QCOMPARE(view()->buttons()[2].names, QStringList{""});
        // A command button's query is its script.
        QVERIFY(run("QuillmarshPicker add_cmd_button 60 6 py python \"print('x')\""));
        QCOMPARE(result("QuillmarshPicker query_button label py"), QStringList{"print('x')"});
    }

    void every_directive_survives_junk_and_no_tab()
    {
        // Every directive, with zero to fourteen arguments of junk: the host
        // keeps running, and a directive that fails leaves the picker alone.
        const QStringList junk = {"label", "-1e308", "\"\"", "nan", "99999999999", "\"a b\"", "\";\"",
                                  "rig:arm", "#zz", "-0", "1.5", "\"\\n\"", "`ls`", "python", "label"};
        for (const QString& d : all_directives) {
            if (d == "clear_tabs" || d == "close_tab" || d == "new_tab" || d == "rebind" || d == "bind" ||
                d == "restore")
                continue; // these change the tabs whatever the arguments
            for (int n = 0; n <= 14; ++n) {
                arm_and_leg();
                const QStringList before = describe(view());
                const bool ok = run(QString("QuillmarshPicker %1 %2").arg(d, QStringList(junk.mid(0, n)).join(' ')));
                if (!ok)
                    QVERIFY2(describe(view()) == before, qPrintable(QString("%1 with %2").arg(d).arg(n)));
            }
        }
        run("QuillmarshPicker restore junk; QuillmarshPicker bind; QuillmarshPicker update_namespace");
        QVERIFY(picker_main::window_);

        // Without a tab, what needs one fails and says so: a build script
        // that forgot its tab learns it at the first line, and nothing is
        // written.
        run("QuillmarshPicker clear_tabs");
        const QString file = QDir::temp().filePath("no_tab_here.pkr");
        QFile::remove(file);
        for (const QString& line : {QString("add_button 1 2 hand"), QString("set_background /no/such.png"),
                                    "saveas " + file, QString("move_button label arm 1 2"),
                                    QString("query_buttons"), QString("current_tab")}) {
            h.clear_output();
            QVERIFY2(!run("QuillmarshPicker " + line), qPrintable(line));
            QVERIFY2(h.output_text().contains("there is no tab to act on"), qPrintable(h.output_text()));
        }
        QVERIFY(!QFile::exists(file));
        // What needs no tab still works.
        QVERIFY(run("QuillmarshPicker query_tabs; QuillmarshPicker new_tab"));

        // An object the scene lacks is named, not passed over.
        run("select -r rig:arm; QuillmarshPicker add_button 5 5 arm");
        h.clear_output();
        QVERIFY(run("QuillmarshPicker update_button label arm rig:gone"));
        QVERIFY2(h.output_text().contains("// Warning: QuillmarshPicker - update_button: not in the scene: rig:gone"),
                 qPrintable(h.output_text()));
    }

    void batch_mode_holds_back_the_scene_write()
    {
        h.drain_idle();
        h.set_modified(false);
        run("QuillmarshPicker enable_batch_mode; createNode transform -n \"rig:L_hand\" -ss; select -r rig:L_hand;"
            "QuillmarshPicker add_button 90 90 hand; QuillmarshPicker mirror_buttons 100");
        QVERIFY(window()->notices_held());
        QCOMPARE(view()->buttons().size(), 4); // added and painted at once
        QVERIFY(h.idle_texts().isEmpty());
        run("QuillmarshPicker color_button label hand red; QuillmarshPicker disable_batch_mode");
        QVERIFY(!window()->notices_held());
        QCOMPARE(h.idle_texts(), QStringList{"QuillmarshPicker flush"});
        QVERIFY(!h.modified());
        h.drain_idle();
        QVERIFY(h.modified());
    }

    void history_survives_scripts_removing_buttons()
    {
        // A script deletes buttons behind the undo history; undoing and
        // redoing what is left must not reach past the list.
        picker_view* v = view();
        for (int k = 0; k < v->buttons().size(); ++k)
            v->page()->set_state(k, 1);
        v->nudge_right();
        v->align_vertical();
        v->adjust_size_up();
        v->undoer()->push(new QUndoCommand("marker"));
        QVERIFY(run("QuillmarshPicker delete_button object rig:leg; QuillmarshPicker delete_button label arm"));
        QVERIFY(v->buttons().isEmpty());
        while (v->undoer()->canUndo())
            v->undoer()->undo();
        while (v->undoer()->canRedo())
            v->undoer()->redo();
        QVERIFY(v->buttons().isEmpty());
    }

    void added_buttons_ignore_the_toolbox()
    {
        // The toolbox follows whatever was last selected; a script's buttons
        // must not.
        QVERIFY(run("QuillmarshPicker color_button label arm 1 2 3; QuillmarshPicker color_button_text label arm white;"
                    "QuillmarshPicker resize_button label arm 40 30; select -r rig:arm"));
        window()->updateControls();
        QAction width("40", nullptr);
        QAction height("30", nullptr);
        window()->set_button_width(&width);
        window()->set_button_height(&height);
        QVERIFY(run("select -r rig:hand; QuillmarshPicker add_button 100 100 hand;"
                    "QuillmarshPicker add_cmd_button 130 100 c"));
        const QStringList defaults{"0", "10", "10", "10", "#b22222", "#000000"};
        QCOMPARE(result("QuillmarshPicker get_button_properties label hand").mid(3, 6), defaults);
        QCOMPARE(result("QuillmarshPicker get_button_properties label c").mid(3, 6), defaults);
    }

    // Queries and edits of a button's names leave the host's selection alone;
    // the picker lights what the host has selected, and tells the host nothing.
    void queries_and_edits_keep_the_host_selection()
    {
        run("select -r rig:leg");
        h.drain_idle();
        h.clear_output();
        for (const char* command : {"query_button label arm", "rename_button label arm shoulder",
                                    "update_button label shoulder rig:arm"}) {
            QVERIFY2(run(QString("QuillmarshPicker ") + command), qPrintable(h.output_text()));
            QCOMPARE(picker_window::selection(), QStringList{"rig:leg"});
            QCOMPARE(int(view()->buttons()[0].selected), 0);
            QCOMPARE(int(view()->buttons()[1].selected), 1);
        }
        QVERIFY(h.idle_texts().filter("select").isEmpty());
        QVERIFY(run("QuillmarshPicker add_button 100 100 next"));
        QCOMPARE(result("QuillmarshPicker query_button label next"), QStringList{"rig:leg"});

        run("select -r rig:hand");
        QVERIFY(run("QuillmarshPicker update_button label shoulder rig:hand;"
                    "QuillmarshPicker update_button object rig:leg rig:arm"));
        QCOMPARE(int(view()->buttons()[0].selected), 1);
        QCOMPARE(int(view()->buttons()[1].selected), 0);
        QCOMPARE(picker_window::selection(), QStringList{"rig:hand"});
    }

    void mistakes_are_errors_that_change_nothing_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("message");
        QTest::newRow("short hex colour") << "QuillmarshPicker color_button_text x 60 20 \"#12345\""
                                          << "color_button_text: the colour must be a colour name";
        QTest::newRow("bad colour after a label")
            << "QuillmarshPicker set_button_properties label arm L 1 2 \"\" \"\" \"\" 30 \"\" bogus \"\""
            << "set_button_properties: color must be a colour name or #rrggbb, not \"bogus\"";
        QTest::newRow("negative channel") << "QuillmarshPicker color_button_text x 60 20 0 -1 0"
                                          << "color_button_text: green must be a whole number from 0 to 255, not -1";
        QTest::newRow("coordinate far away") << "QuillmarshPicker move_button label arm \"1e7\" 0"
                                             << "move_button: x must be between -1000000 and 1000000, not 1e7";
        QTest::newRow("command at no number") << "QuillmarshPicker add_cmd_button 5 nan c"
                                              << "add_cmd_button: y must be a number, not \"nan\"";
        QTest::newRow("unknown tab") << "QuillmarshPicker set_tab nope" << "set_tab: no tab is named \"nope\"";
        QTest::newRow("mirror beyond the limits")
            << "select -r rig:arm; QuillmarshPicker mirror_buttons 999999 -patterns arm leg"
            << "mirror_buttons: a copy would land at x = 1999988";
        const QString unmapped = "mirror_buttons: nothing was mirrored: the side patterns (%1) do not map these "
                                 "names of %2";
        QTest::newRow("mirror, names the patterns do not map")
            << "select -r rig:arm rig:leg; QuillmarshPicker mirror_buttons 100"
            << unmapped.arg("L_/R_, _L/_R, left/right, Left/Right, LEFT/RIGHT", "2 buttons: arm: rig:arm; rig:leg");
        QTest::newRow("mirror by given patterns that do not map")
            << "select -r rig:arm rig:leg; QuillmarshPicker mirror_buttons \"\" red -patterns leg foot"
            << unmapped.arg("leg/foot", "1 button: arm: rig:arm");
        QTest::newRow("mirror by patterns not in pairs") << "select -r rig:arm; QuillmarshPicker mirror_buttons -patterns L_"
                                                         << "mirror_buttons: patterns come in pairs: left, right";
        QTest::newRow("mirror by no patterns") << "select -r rig:arm; QuillmarshPicker mirror_buttons 1 -patterns"
                                               << "mirror_buttons: -patterns needs at least one pair";
        QTest::newRow("patterns with a namespace") << "QuillmarshPicker set_mirror_patterns \"a:L\" R"
                                                   << "set_mirror_patterns: \"a:L\" may hold only letters";
        QTest::newRow("unreadable background")
            << "QuillmarshPicker set_background \"/nonexistent/picture.png\"" << "set_background: ";
        QTest::newRow("save to no path") << "QuillmarshPicker save \"\"" << "save: the path is empty";
        QTest::newRow("directive case matters") << "QuillmarshPicker Select" << "unknown directive: Select";
        QTest::newRow("array among arguments") << "string $n[] = {\"a\"}; QuillmarshPicker select rig:arm $n"
                                               << "select: argument 3 is neither a string nor a number";
        const QString count = "wrong number of arguments";
        QTest::newRow("press, a point of words") << "QuillmarshPicker press_button at arm now"
                                                 << "press_button: x must be a number, not \"arm\"";
        // "label" always names a button: five arguments are not a point.
        QTest::newRow("label with a point's count") << "QuillmarshPicker move_button label arm 5 5 9"
                                                    << "move_button: " + count;
        QTest::newRow("one too many") << "select -r rig:arm; QuillmarshPicker add_button 1 2 hand 4"
                                      << "add_button: takes at most 3 arguments, got 4";
        QTest::newRow("mirror, one too many before the patterns")
            << "select -r rig:arm; QuillmarshPicker mirror_buttons 1 red blue green -patterns arm leg"
            << "mirror_buttons: " + count;
        QTest::newRow("rebind to nothing") << "QuillmarshPicker update_namespace"
                                           << "update_namespace: needs the namespace to move to";
        QTest::newRow("rebind to MEL") << "QuillmarshPicker update_namespace \"hero\\\";print(1);\\\"\""
                                       << "update_namespace: \"hero\";print(1);\"\" is not a namespace";
        QTest::newRow("rebind a namespace not used") << "QuillmarshPicker update_namespace ghost hero"
                                                     << "update_namespace: the picker has no names in the namespace \"ghost\"";
        QTest::newRow("rebind the unused root") << "QuillmarshPicker update_namespace \":\" hero"
                                                << "update_namespace: the picker has no names in the root namespace";
        QTest::newRow("shape unknown") << "QuillmarshPicker set_button_shape label arm star"
                                       << "set_button_shape: the shape must be rectangle, rounded, ellipse or polygon, "
                                          "not \"star\"";
        QTest::newRow("polygon of two points") << "QuillmarshPicker set_button_shape label arm polygon 0 0 5 5"
                                               << "set_button_shape: a polygon needs 3 to 1024 points, not 2";
        QTest::newRow("polygon, half a point") << "QuillmarshPicker set_button_shape label arm polygon 0 0 5 5 9 9 1"
                                               << "set_button_shape: the points must be pairs of x and y";
        QTest::newRow("polygon point far away")
            << "QuillmarshPicker set_button_shape label arm polygon 0 0 \"2e6\" 0 5 5"
            << "set_button_shape: x must be between -1000000 and 1000000, not 2e6";
        QTest::newRow("polygon point not a number") << "QuillmarshPicker set_button_shape label arm polygon 0 0 5 y 5 5"
                                                    << "set_button_shape: y must be a number, not \"y\"";
        QTest::newRow("polygon on a line") << "QuillmarshPicker set_button_shape label arm polygon 0 0 5 0 9 0"
                                           << "set_button_shape: the polygon's points must span some width and height";
        QTest::newRow("polygon too wide") << "QuillmarshPicker set_button_shape label arm polygon 0 0 200001 0 9 9"
                                          << "set_button_shape: a polygon is at most 100000 pixels wide and high";
        QTest::newRow("points for an ellipse") << "QuillmarshPicker set_button_shape label arm ellipse 1 2"
                                               << "set_button_shape: only a polygon takes points";
        QTest::newRow("shape of nothing") << "QuillmarshPicker set_button_shape label arm"
                                          << "set_button_shape: wrong number of arguments";
        QTest::newRow("picture of nothing") << "QuillmarshPicker set_button_image label arm"
                                            << "set_button_image: wrong number of arguments";
        QTest::newRow("two pictures") << "QuillmarshPicker set_button_image label arm a.png b.png"
                                      << "set_button_image: wrong number of arguments";
        const QString none = "Couldn't find any matching buttons!";
        QTest::newRow("shape at no button") << "QuillmarshPicker set_button_shape x 9000 9000 ellipse"
                                          << "set_button_shape: " + none + " (at 9000, 9000)";
        QTest::newRow("label case matters") << "QuillmarshPicker rename_button label Arm x"
                                            << "rename_button: " + none + " (label \"Arm\")";
        QTest::newRow("mirror with nothing selected") << "QuillmarshPicker mirror_buttons" << none;
    }

    void mistakes_are_errors_that_change_nothing()
    {
        QFETCH(QString, command);
        QFETCH(QString, message);
        QTemporaryDir dir;
        QImage picture(8, 6, QImage::Format_RGB32);
        picture.fill(Qt::green);
        QVERIFY(picture.save(dir.filePath("back.png")));
        QVERIFY(run(QString("QuillmarshPicker new_tab; QuillmarshPicker rename_tab second;"
                            "QuillmarshPicker set_tab Untitled; QuillmarshPicker set_background \"%1\"")
                        .arg(dir.filePath("back.png"))));
        h.clear_output();
        const QStringList before = describe(view()) << result("QuillmarshPicker query_tabs");
        const QString key = view()->backgroundKey();
        const int steps = view()->undoer()->count();
        no_dialogs guard;
        QVERIFY(!run(command));
        const QString shown = message.startsWith("Couldn't") ? message : "QuillmarshPicker - " + message;
        QVERIFY2(h.output_text().contains("// Error: " + shown), qPrintable(h.output_text()));
        QCOMPARE(guard.seen, 0);
        QCOMPARE(describe(view()) << result("QuillmarshPicker query_tabs"), before);
        QCOMPARE(window()->tabs()->currentIndex(), 0);
        QCOMPARE(view()->backgroundKey(), key);
        QCOMPARE(view()->background().size(), QSize(8, 6));
        QCOMPARE(view()->undoer()->count(), steps);
    }

    // A shape is one undo step; a polygon follows the button when it is
    // resized (about its centre), moved and mirrored, and queries report
    // it where it is drawn.
    void set_button_shape_follows_the_button()
    {
        left_side();
        const QString props = "QuillmarshPicker get_button_properties object rig:L_arm";
        const QStringList rectangle = result(props);
        QCOMPARE(rectangle.value(9), QString("rectangle"));
        const int steps = view()->undoer()->count();
        QVERIFY2(run("QuillmarshPicker set_button_shape object rig:L_arm polygon 140 30 170 30 170 60"),
                 qPrintable(h.output_text()));
        QCOMPARE(view()->undoer()->count(), steps + 1);
        QCOMPARE(view()->undoer()->undoText(), QString("Button Shape"));
        QCOMPARE(result(props).mid(9), (QStringList{"polygon", "140", "30", "170", "30", "170", "60"}));
        QCOMPARE(result(props).mid(0, 2), (QStringList{"154", "44"}));
        // A point inside the box but outside the triangle finds no button.
        QVERIFY(!run("QuillmarshPicker query_button x 143 57"));
        h.clear_output();
        QCOMPARE(result("QuillmarshPicker query_button x 167 33"), QStringList{"rig:L_arm"});

        run("QuillmarshPicker resize_button object rig:L_arm 60 30");
        QCOMPARE(result(props).mid(9), (QStringList{"polygon", "125", "30", "185", "30", "185", "60"}));
        run("QuillmarshPicker move_button object rig:L_arm 54 44");
        QCOMPARE(result(props).mid(9), (QStringList{"polygon", "25", "30", "85", "30", "85", "60"}));
        QJsonObject arm;
        for (const QJsonValue b : QJsonDocument::fromJson(result("QuillmarshPicker query_buttons").join("").toUtf8()).array())
            if (b.toObject().value("label").toString() == "L arm")
                arm = b.toObject();
        QCOMPARE(arm.value("shape").toString(), QString("polygon"));
        QCOMPARE(arm.value("points").toArray().at(2).toArray(), (QJsonArray{85, 60}));

        run("select -r rig:L_arm");
        QVERIFY2(run("QuillmarshPicker mirror_buttons 100"), qPrintable(h.output_text()));
        QCOMPARE(result("QuillmarshPicker get_button_properties object rig:R_arm").mid(9),
                 (QStringList{"polygon", "177", "30", "117", "30", "117", "60"}));
        // Undo takes the copies away, then the shape; redo brings it back.
        QCOMPARE(view()->undoer()->undoText(), QString("Mirror Button"));
        view()->undoer()->undo();
        QCOMPARE(view()->undoer()->undoText(), QString("Button Shape"));
        view()->undoer()->undo();
        QCOMPARE(result(props).mid(9), QStringList{"rectangle"});
        view()->undoer()->redo();
        QCOMPARE(result(props).mid(9, 2), (QStringList{"polygon", "140"}));
        view()->undoer()->undo();
        QVERIFY2(run("QuillmarshPicker set_button_shape x 150 40 ellipse"), qPrintable(h.output_text()));
        QCOMPARE(result(props).mid(9), QStringList{"ellipse"});
        QCOMPARE(h.error_count(), 0);
    }

    void set_button_image_refuses_what_it_cannot_keep_data()
    {
        QTest::addColumn<QByteArray>("file"); // empty: there is none
        QTest::addColumn<QString>("message"); // %1: the file's path
        QByteArray png;
        {
            QBuffer buffer(&png);
            buffer.open(QIODevice::WriteOnly);
            QImage(12, 8, QImage::Format_RGB32).save(&buffer, "PNG");
        }
        QByteArray garbled = png;
        garbled[png.indexOf("IDAT") + 6] = char(garbled[png.indexOf("IDAT") + 6] ^ 0x55);
        QByteArray wide;
        {
            QBuffer buffer(&wide);
            buffer.open(QIODevice::WriteOnly);
            QImage(1025, 2, QImage::Format_RGB32).save(&buffer, "PNG");
        }
        const QString limit = ": a button's picture is at most 1024 x 1024 pixels and 1024 KB";
        QTest::newRow("no such file") << QByteArray() << "could not read the picture \"%1\": No such file or directory";
        QTest::newRow("not a PNG") << QByteArray("GIF89a and the rest") << "the picture \"%1\" is not a PNG image";
        QTest::newRow("cut short") << png.left(png.size() - 6)
                                   << "could not read the picture \"%1\": the PNG is cut short or damaged";
        QTest::newRow("bytes after it") << png + "tail"
                                        << "could not read the picture \"%1\": the PNG is cut short or damaged";
        QTest::newRow("does not decode") << garbled << "could not read the picture \"%1\": the PNG does not decode";
        QTest::newRow("too wide") << wide << "the picture \"%1\" is 1025 x 2 pixels" + limit;
        QTest::newRow("too many bytes") << png + QByteArray(1 << 20, 'x') << "the picture \"%1\" is too large" + limit;
    }
    void set_button_image_refuses_what_it_cannot_keep()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString path = dir.filePath("icon.png");
        if (!file.isEmpty()) {
            QFile out(path);
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(file) == file.size());
        }
        const int steps = view()->undoer()->count();
        QVERIFY(!run(QString("QuillmarshPicker set_button_image label arm \"%1\"").arg(path)));
        const QString shown = "// Error: QuillmarshPicker - set_button_image: " + message.arg(path);
        QVERIFY2(h.output_text().contains(shown), qPrintable(h.output_text()));
        QVERIFY(view()->buttons().first().picture.isNull());
        QCOMPARE(view()->undoer()->count(), steps);
    }

    // A picture is one undo step, reported by the queries, kept byte for
    // byte through a file, and removed by an empty name.
    void set_button_image_is_one_step_that_travels()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("icon.png");
        const QByteArray png = write_picture_file(path, 30, 20, Qt::blue);
        h.drain_idle();
        h.set_modified(false);
        const int steps = view()->undoer()->count();
        const QString props = "QuillmarshPicker get_button_properties label arm";
        const QString set = QString("QuillmarshPicker set_button_image label arm \"%1\"").arg(path);
        QVERIFY2(run(set), qPrintable(h.output_text()));
        QCOMPARE(view()->undoer()->count(), steps + 1);
        QCOMPARE(view()->undoer()->undoText(), QString("Button Picture"));
        QCOMPARE(result(props).mid(10), (QStringList{"picture", "30", "20"}));
        QCOMPARE(view()->buttons().first().picture.png(), png);
        const QJsonArray list = QJsonDocument::fromJson(result("QuillmarshPicker query_buttons").join("").toUtf8()).array();
        QCOMPARE(list.at(0).toObject().value("picture").toArray(), (QJsonArray{30, 20}));
        QVERIFY(!list.at(1).toObject().contains("picture"));
        h.drain_idle();
        QVERIFY(h.modified());
        // The same picture again changes nothing; the point form reaches
        // the other button.
        QVERIFY(run(set));
        QCOMPARE(view()->undoer()->count(), steps + 1);
        QVERIFY2(run(QString("QuillmarshPicker set_button_image x 60 20 \"%1\"").arg(path)), qPrintable(h.output_text()));
        QCOMPARE(view()->buttons().at(1).picture, view()->buttons().at(0).picture);

        const QString saved = dir.filePath("icons.pkr");
        QVERIFY(run(QString("QuillmarshPicker saveas \"%1\"; QuillmarshPicker clear_tabs; QuillmarshPicker open \"%1\"")
                        .arg(saved)));
        h.drain_idle();
        QCOMPARE(view()->buttons().size(), 2);
        QCOMPARE(view()->buttons().at(0).picture.png(), png);
        // Read back, equal bytes are one picture.
        QCOMPARE(view()->buttons().at(1).picture.key(), view()->buttons().at(0).picture.key());

        QVERIFY(run("QuillmarshPicker set_button_image label arm \"\""));
        QCOMPARE(view()->undoer()->undoText(), QString("Button Picture"));
        QCOMPARE(result(props).size(), 10);
        view()->undoer()->undo();
        QCOMPARE(view()->buttons().first().picture.png(), png);
        view()->undoer()->redo();
        QVERIFY(view()->buttons().first().picture.isNull());
        QCOMPARE(h.error_count(), 0);
    }

    void scripts_save_and_open_without_dialogs()
    {
        QTemporaryDir dir;
        const QString first = dir.filePath("first.pkr");
        const QString second = dir.filePath("second.pkr");
        const QStringList buttons = describe(view());
        no_dialogs guard;
        QVERIFY2(run(QString("QuillmarshPicker saveas \"%1\"").arg(first)), qPrintable(h.output_text()));
        QCOMPARE(view()->path(), first);
        QVERIFY(run("QuillmarshPicker move_button label arm 30 30"));
        QVERIFY(run(QString("QuillmarshPicker save \"%1\"").arg(second)));
        QCOMPARE(view()->path(), second);
        QVERIFY(run("QuillmarshPicker save")); // to the file the tab is tied to
        const QStringList moved = describe(view());
        QVERIFY(run(QString("QuillmarshPicker clear_tabs; QuillmarshPicker open \"%1\" \"%2\"").arg(first, second)));
        h.drain_idle();
        QCOMPARE(guard.seen, 0);
        QCOMPARE(h.error_count(), 0);
        QCOMPARE(window()->tabs()->count(), 2);
        QCOMPARE(describe(tab(0)), buttons);
        QCOMPARE(describe(tab(1)), moved);
    }

    void opened_pickers_are_bound_in_turn()
    {
        // Two pickers made for hero, opened together where only sidekick
        // exists: File > Open asks about each in turn, not the front one
        // twice, and afterwards a click selects the sidekick's controls.
        QTemporaryDir dir;
        const QStringList paths{dir.filePath("body.pkr"), dir.filePath("face.pkr")};
        write_pkr_file(paths[0], "body", {button_at({30, 30}, {"hero:arm", "hero:leg"})});
        write_pkr_file(paths[1], "face", {button_at({30, 30}, {"hero:jaw"})});
        run("file -f -new");
        nodes("sidekick", {"arm", "leg", "jaw"});
        h.drain_idle();
        QStringList offered;
        {
            no_dialogs answer([&offered](QWidget* dialog) {
                auto* combo = dialog->findChild<QComboBox*>();
                offered << combo->currentText(); // absent: kept unless the user says otherwise
                combo->setCurrentText("sidekick");
                modal_helper::answer(dialog, "OK");
            });
            window()->load_pickers(paths);
            h.drain_idle();
        }
        QCOMPARE(offered, (QStringList{"hero", "hero"}));
        QCOMPARE(window()->tabs()->count(), 3);
        QCOMPARE(tab(2)->buttons()[0].names, QStringList{"sidekick:jaw"});
        window()->tabs()->setCurrentIndex(1);
        QCOMPARE(view()->buttons()[0].names, (QStringList{"sidekick:arm", "sidekick:leg"}));
        click_at(QPoint(30, 30));
        h.drain_idle();
        QCOMPARE(h.selection(), (QStringList{"sidekick:arm", "sidekick:leg"}));
        QCOMPARE(int(view()->buttons()[0].selected), 1);

        // A script opens with no dialog at all: it names the namespace, or
        // hears which the scene lacks.
        no_dialogs none;
        h.clear_output();
        QVERIFY(run(QString("QuillmarshPicker open \"%1\" namespace sidekick").arg(paths[0])));
        QCOMPARE(view()->buttons()[0].names, (QStringList{"sidekick:arm", "sidekick:leg"}));
        QVERIFY(run(QString("QuillmarshPicker open \"%1\"").arg(paths[1])));
        h.drain_idle();
        QVERIFY2(h.output_text().contains("open: the picker \"face\" names namespaces the scene lacks (hero)"),
                 qPrintable(h.output_text()));
        QCOMPARE(view()->buttons()[0].names, QStringList{"hero:jaw"});
        QVERIFY(!run(QString("QuillmarshPicker open \"%1\" namespace").arg(paths[1])));
        QCOMPARE(none.seen, 0);
    }

    void root_pickers_are_offered_a_binding()
    {
        // Built in the rig file, where the controls have no namespace, and
        // opened where the character is referenced: the chooser is offered.
        QTemporaryDir dir;
        const QString path = dir.filePath("rig.pkr");
        write_pkr_file(path, "rig", {button_at({30, 30}, {"arm", "leg"})});
        run("file -f -new");
        nodes("sidekick", {"arm", "leg"});
        h.drain_idle();
        QStringList offered;
        {
            no_dialogs answer([&offered](QWidget* dialog) {
                auto* combo = dialog->findChild<QComboBox*>();
                offered << combo->currentText();
                combo->setCurrentText("sidekick");
                modal_helper::answer(dialog, "OK");
            });
            window()->load_pickers({path});
            h.drain_idle();
        }
        QCOMPARE(offered, QStringList{":"});
        QCOMPARE(view()->buttons()[0].names, (QStringList{"sidekick:arm", "sidekick:leg"}));

        // Where the root names are there, nothing is asked.
        run("createNode transform -n arm; createNode transform -n leg");
        no_dialogs none;
        window()->load_pickers({path});
        h.drain_idle();
        QCOMPARE(none.seen, 0);
        QCOMPARE(view()->buttons()[0].names, (QStringList{"arm", "leg"}));
    }

    // ----- Namespaces

    // Of two pairs that both match a name, the one naming more of its
    // namespace moves it.
    void the_most_specific_pair_wins()
    {
        buttonAttributes a;
        a.names = QStringList{"a:b:x", "a:y"};
        rebind_picker_button(a, {"a:b:", "a:"}, {"q:", "p:"});
        QCOMPARE(a.names, (QStringList{"q:x", "p:y"}));
    }

    void update_namespace_per_segment_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QStringList>("namespaces");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("nested moves with its parent")
            << QStringList{"rig:ctl", "rig:sub:hand"} << "hero" << QStringList{"rig", "rig:sub"}
            << QStringList{"hero:ctl", "hero:sub:hand"};
        // The main namespace is the one holding most names; of equals the deepest.
        QTest::newRow("only a nested one in use") << QStringList{"rig:sub:hand"} << "hero"
                                                  << QStringList{"rig:sub", "rig"} << QStringList{"hero:hand"};
        QTest::newRow("to the root") << QStringList{"|rig:grp|rig:ctl", "rig:sub:hand"} << "\":\""
                                     << QStringList{"rig", "rig:sub"} << QStringList{"|grp|ctl", "sub:hand"};
        QTest::newRow("a prop keeps its namespace")
            << QStringList{"hero:arm", "hero:leg", "sword:grip"} << "hero1" << QStringList{"hero", "sword"}
            << QStringList{"hero1:arm", "hero1:leg", "sword:grip"};
        QTest::newRow("old and new") << QStringList{"hero:arm", "sword:grip"} << "sword blade"
                                     << QStringList{"hero", "sword"} << QStringList{"hero:arm", "blade:grip"};
        QTest::newRow("a parent with its children")
            << QStringList{"chars:hero:arm", "chars:hero:leg", "chars:prop"} << "chars cast"
            << QStringList{"chars", "chars:hero"} << QStringList{"cast:hero:arm", "cast:hero:leg", "cast:prop"};
        QTest::newRow("the main namespace of a nested character")
            << QStringList{"chars:hero:arm", "chars:hero:leg"} << "hero1" << QStringList{"chars:hero", "chars"}
            << QStringList{"hero1:arm", "hero1:leg"};
        QTest::newRow("root names into a namespace")
            << QStringList{"arm", "leg", "sword:grip"} << "\":\" hero" << QStringList{":", "sword"}
            << QStringList{"hero:arm", "hero:leg", "sword:grip"};
        QTest::newRow("paths, components and the root")
            << QStringList{"a:b:c", "rig:mesh.vtx[a:b]", "|grp|rig:sub:ctl.tx", "|a:grp|b:ctl", ":rig:ctl", "arm"}
            << "hero" << QStringList{"rig", "a", ":", "a:b", "rig:sub", "b"}
            << QStringList{"a:b:c", "hero:mesh.vtx[a:b]", "|grp|hero:sub:ctl.tx", "|a:grp|b:ctl", ":hero:ctl",
                           "arm"};
    }

    void update_namespace_per_segment()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, arguments);
        QFETCH(QStringList, namespaces);
        QFETCH(QStringList, expected);
        buttons_named(names);
        QCOMPARE(result("QuillmarshPicker get_namespaces"), namespaces);
        QSignalSpy changes(view(), &picker_view::changed);
        QVERIFY2(run("QuillmarshPicker update_namespace " + arguments), qPrintable(h.output_text()));
        QCOMPARE(all_names(), expected);

        // One step, named, that gives back exactly what was there; each way
        // tells the scene once.
        QUndoStack* stack = view()->undoer();
        QCOMPARE(stack->count(), 1);
        QCOMPARE(stack->undoText(), QString("Change Namespace"));
        stack->undo();
        QCOMPARE(all_names(), names);
        stack->redo();
        QCOMPARE(all_names(), expected);
        QCOMPARE(changes.count(), 3);
    }

    // A picker built in the rig file's root namespace and moved to a
    // character's: its scripts follow the names it binds, and their slices,
    // dictionaries, comments and other words stay.
    void update_namespace_moves_script_names()
    {
        run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; createNode transform -n L_hand_ctrl;"
            "select -r L_hand_ctrl; QuillmarshPicker add_button 10 10 hand; select -cl");
        const QStringList scripts{
            "sel = cmds.ls(sl=True)[:n]\ncmds.setAttr('L_hand_ctrl.tx', {'tx':zero}['tx'])  # L_hand_ctrl\n"
            "cmds.select(['L_hand_ctrl', 'other'], r=True)",
            "select -r L_hand_ctrl; // L_hand_ctrl\nsetAttr \"L_hand_ctrl.tx\" 0; L_hand_ctrl;"};
        QVERIFY(h.execute_python("import maya.cmds as cmds"));
        QVERIFY(h.execute_python(QString("cmds.QuillmarshPicker('add_cmd_button', 40, 10, 'py', 'python', %1)\n"
                                         "cmds.QuillmarshPicker('add_cmd_button', 60, 10, 'mel', 'mel', %2)")
                                     .arg(python_text(scripts[0]), python_text(scripts[1]))));
        QVERIFY2(run("QuillmarshPicker update_namespace hero"), qPrintable(h.output_text()));
        QCOMPARE(all_names(),
                 (QStringList{"hero:L_hand_ctrl",
                              "sel = cmds.ls(sl=True)[:n]\ncmds.setAttr('hero:L_hand_ctrl.tx', {'tx':zero}['tx'])"
                              "  # L_hand_ctrl\ncmds.select(['hero:L_hand_ctrl', 'other'], r=True)",
                              "select -r hero:L_hand_ctrl; // L_hand_ctrl\nsetAttr \"hero:L_hand_ctrl.tx\" 0; "
                              "L_hand_ctrl;"}));
        // Onwards to another character, and back to the root as it was.
        QVERIFY(run("QuillmarshPicker update_namespace hero hero1"));
        QCOMPARE(all_names().value(1).count("hero1:L_hand_ctrl"), 2);
        QVERIFY(run("QuillmarshPicker update_namespace \":\""));
        QCOMPARE(all_names(), (QStringList{"L_hand_ctrl"} + scripts));
    }

    void chooser_and_update_namespace_agree_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("choice");
        QTest::newRow("nested and paths")
            << QStringList{"rig:ctl", "rig:sub:hand", "|rig:grp|rig:sub:ctl.tx"} << "hero";
        QTest::newRow("to the root") << QStringList{"|rig:grp|rig:ctl", "rig:sub:hand"} << "";
        QTest::newRow("into a nested one") << QStringList{"rig:ctl", "rig:sub:hand"} << "char1:rig";
    }

    void chooser_and_update_namespace_agree()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, choice);
        // The names once more in a command button's script.
        auto make = [&] {
            buttons_named(names);
            run(QString("select -r rig:hand; QuillmarshPicker add_cmd_button 5 5 c mel \"select %1;\"; select -cl")
                    .arg(names.join(' ')));
        };
        make();
        const QStringList namespaces = result("QuillmarshPicker get_namespaces");
        QVERIFY2(run(QString("QuillmarshPicker update_namespace \"%1\"").arg(choice)), qPrintable(h.output_text()));
        const QStringList expected = describe(view());

        // The same choice for the top namespaces in the chooser; nested rows
        // are left as they are.
        make();
        QStringList rows;
        modal_helper::with_next([&](QWidget* modal) {
            auto* dialog = dynamic_cast<picker_editNamespaceDialog*>(modal);
            QVERIFY(dialog);
            for (const auto& record : dialog->pairs()) {
                rows << record.ns;
                if (record.ns == ":" || !record.ns.contains(':'))
                    record.choice->setEditText(choice);
            }
            modal_helper::answer(modal, "OK");
        });
        QVERIFY(run("QuillmarshPicker rebind hero \"char1:rig\" \":\""));
        QCOMPARE(rows, namespaces);
        QCOMPARE(describe(view()), expected);
        QCOMPARE(view()->undoer()->count(), 1);
        QCOMPARE(view()->undoer()->undoText(), QString("Change Namespace"));
        view()->undoer()->undo();
        QCOMPARE(all_names().mid(0, names.size()), names);
    }

    void undo_keeps_names_with_the_namespaces_of_their_time_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::newRow("update") << "update";
        QTest::newRow("paste") << "paste";
        QTest::newRow("delete") << "delete";
    }

    void undo_keeps_names_with_the_namespaces_of_their_time()
    {
        QFETCH(QString, edit);
        nodes("hero", {"arm", "hand"});
        picker_view* v = view();
        QUndoStack* stack = v->undoer();
        const QStringList start = all_names();
        v->page()->set_state(0, 1);
        if (edit == "update") {
            stack->push(new update_buttons_cmd(v->page(), v->buttons()[0].id, {"rig:hand"}));
        } else if (edit == "paste") {
            buttonAttributes a = v->buttons()[1];
            a.names = QStringList{"rig:hand"};
            stack->push(new paste_buttons_cmd(v->page(), {a}, true));
        } else {
            stack->push(new delete_buttons_cmd(v->page()));
        }

        const QStringList edited = all_names();
        run("select -r hero:arm hero:hand");
        QVERIFY(run("QuillmarshPicker update_namespace hero"));
        const QStringList rebound = all_names();
        QVERIFY(!rebound.isEmpty());
        for (const QString& name : rebound)
            QVERIFY2(name.startsWith("hero:"), qPrintable(name));
        // The rebound buttons show the host selection at once.
        for (const buttonRecord& r : v->buttons())
            QCOMPARE(int(r.selected), r.names.contains("hero:leg") ? 0 : 1);

        QCOMPARE(stack->count(), 2);
        stack->undo();
        QCOMPARE(all_names(), edited);
        stack->undo();
        QCOMPARE(all_names(), start);
        stack->redo();
        QCOMPARE(all_names(), edited);
        stack->redo();
        QCOMPARE(all_names(), rebound);
    }

    void chooser_preselects_what_the_scene_has_data()
    {
        QTest::addColumn<QStringList>("available");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("typed"); // then typed in, and whether OK takes it
        QTest::addColumn<bool>("okEnabled");
        QTest::newRow("present") << QStringList{"hero", "rig", ":"} << QStringList{"hero", "rig", ":"} << "rig"
                                 << "" << true;
        QTest::newRow("nested") << QStringList{"hero", "char1:rig", ":"} << QStringList{"hero", "char1:rig", ":"}
                                << "char1:rig" << "hero" << true;
        QTest::newRow("absent is kept") << QStringList{"hero", ":"} << QStringList{"rig", "hero", ":"} << "rig"
                                        << "he\"ro" << false;
    }

    void chooser_preselects_what_the_scene_has()
    {
        QFETCH(QStringList, available);
        QFETCH(QStringList, entries);
        QFETCH(QString, chosen);
        QFETCH(QString, typed);
        QFETCH(bool, okEnabled);
        picker_editNamespaceDialog dialog(nullptr, {"rig"}, available);
        QCOMPARE(dialog.pairs().size(), 1);
        QComboBox* combo = dialog.pairs()[0].choice;
        QStringList items;
        for (int i = 0; i < combo->count(); ++i)
            items << combo->itemText(i);
        QCOMPARE(items, entries);
        QCOMPARE(combo->currentText(), chosen);
        combo->setEditText(typed); // empty: the root
        QPushButton* ok = nullptr;
        for (QPushButton* b : dialog.findChildren<QPushButton*>())
            if (b->text() == "OK")
                ok = b;
        QVERIFY(ok);
        QCOMPARE(ok->isEnabled(), okEnabled);
    }

    void chooser_ok_cancel_and_empty_choice()
    {
        const QStringList before = describe(view());
        modal_helper::answer_next("Cancel");
        QVERIFY(!picker_editNamespaceDialog::do_dialog(view(), {"rig"}, {"hero", ":"}));
        QCOMPARE(describe(view()), before);

        // OK with the absent namespace kept changes nothing.
        modal_helper::answer_next("OK");
        QVERIFY(picker_editNamespaceDialog::do_dialog(view(), {"rig"}, {"hero", ":"}));
        QCOMPARE(describe(view()), before);

        // An empty choice strips the namespace.
        modal_helper::with_next([](QWidget* dialog) {
            dialog->findChild<QComboBox*>()->setEditText(QString());
            modal_helper::answer(dialog, "OK");
        });
        QVERIFY(picker_editNamespaceDialog::do_dialog(view(), {"rig"}, {"hero", ":"}));
        QCOMPARE(view()->buttons()[0].names, QStringList{"arm"});

        // A script takes the tab away while the chooser is open.
        modal_helper::with_next([&](QWidget* modal) {
            QPointer<QWidget> dialog(modal);
            run("QuillmarshPicker clear_tabs");
            if (dialog)
                modal_helper::answer(dialog, "OK");
        });
        QVERIFY(run("QuillmarshPicker rebind hero \":\""));
        QVERIFY(!view());
    }

    // ----- Pressing and mirroring buttons from scripts

    void press_button_does_what_a_click_does_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QPoint>("at"); // the same button, for the click
        QTest::addColumn<QStringList>("queued");
        QTest::newRow("selection by label") << "label arm" << QPoint(10, 20)
                                            << QStringList{"QuillmarshPicker select rig:arm"};
        // A script runs as one undo chunk.
        QTest::newRow("mel") << "label go" << QPoint(100, 20)
                             << QStringList{"undoInfo -openChunk; catch(eval(\"select -r rig:hand\")); undoInfo -closeChunk;"};
        QTest::newRow("python") << "label py" << QPoint(140, 20)
                                << QStringList{"__import__('maya.cmds').cmds.undoInfo(openChunk=True)\ntry:\n"
                                               "    exec(compile('print(\\'pressed\\')', '<maya console>', 'exec'))\n"
                                               "finally:\n"
                                               "    __import__('maya.cmds').cmds.undoInfo(closeChunk=True)\n"};
    }

    void press_button_does_what_a_click_does()
    {
        QFETCH(QString, address);
        QFETCH(QPoint, at);
        QFETCH(QStringList, queued);
        QVERIFY(run("QuillmarshPicker add_cmd_button 100 20 go mel \"select -r rig:hand\";"
                    "QuillmarshPicker add_cmd_button 140 20 py python \"print('pressed')\""));
        // What the host is asked, then has selected, and what the picker shows.
        auto outcome = [this] {
            QStringList out = h.idle_texts();
            h.drain_idle();
            out << h.selection().join(' ');
            for (const buttonRecord& r : view()->buttons())
                out << QString::number(r.selected);
            return out;
        };
        run("select -r rig:leg rig:hand");
        h.drain_idle();
        click_at(at);
        const QStringList clicked = outcome();
        QCOMPARE(clicked.mid(0, queued.size()).join("|"), queued.join("|"));

        run("select -r rig:leg rig:hand");
        h.drain_idle();
        QVERIFY2(run("QuillmarshPicker press_button " + address), qPrintable(h.output_text()));
        QCOMPARE(outcome().join('|'), clicked.join('|'));
    }

    void mirror_buttons_copies_the_selected_side_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QStringList>("copies");
        QTest::newRow("about the picture's middle")
            << ""
            << QStringList{"50,40 10 10x10 k0 l0 ffc0392b 0 'R arm' [rig:R_arm]",
                           "40,80 10 10x10 k0 l0 b22222 0 '' [rig:R_leg]",
                           "30,10 10 10x10 k0 l0 b22222 0 'R side' [rig:R_arm,rig:R_leg]"};
        QTest::newRow("about a given x, recoloured")
            << "10.5 \"#2e6fd8\" white"
            << QStringList{"-129,40 10 10x10 k0 l0 ff2e6fd8 ffffffff 'R arm' [rig:R_arm]",
                           "-139,80 10 10x10 k0 l0 ff2e6fd8 ffffffff '' [rig:R_leg]",
                           "-149,10 10 10x10 k0 l0 ff2e6fd8 ffffffff 'R side' [rig:R_arm,rig:R_leg]"};
    }

    void mirror_buttons_copies_the_selected_side()
    {
        QFETCH(QString, arguments);
        QFETCH(QStringList, copies);
        left_side();
        run("select -r rig:L_arm rig:L_leg");
        const QStringList before = describe(view());
        const int steps = view()->undoer()->count();
        // The result names what the scene lacks; the copies are made anyway.
        QCOMPARE(result("QuillmarshPicker mirror_buttons " + arguments), QStringList{"rig:R_leg"});
        QVERIFY2(h.output_text().contains(
                     "// Warning: QuillmarshPicker - mirror_buttons: 2 mirrored buttons select objects the scene "
                     "does not have: rig:R_leg; R side: rig:R_leg"),
                 qPrintable(h.output_text()));
        QCOMPARE(describe(view()).mid(before.size()), copies);
        QCOMPARE(describe(view()).mid(0, before.size()), before);
        // The copies are the picker's selection; the host's stays as it was.
        QCOMPARE(int(view()->buttons().last().selected), 1);
        QCOMPARE(int(view()->buttons()[2].selected), 0);
        QCOMPARE(h.selection(), (QStringList{"rig:L_arm", "rig:L_leg"}));

        // Again: the right side is there, nothing is added.
        run("select -cl; select -r rig:L_arm rig:L_leg");
        QCOMPARE(result("QuillmarshPicker mirror_buttons " + arguments), QStringList());
        QCOMPARE(view()->buttons().size(), before.size() + copies.size());

        QCOMPARE(view()->undoer()->count(), steps + 1);
        view()->undoer()->undo();
        QCOMPARE(describe(view()), before);
        QCOMPARE(h.error_count(), 0);
    }

    // The side patterns of the tab set_tab makes current, joined by blanks.
    QString patterns_of(const QString& tab)
    {
        run(QString("QuillmarshPicker set_tab \"%1\"").arg(tab));
        return result("QuillmarshPicker get_mirror_patterns").join(' ');
    }

    // Each picker keeps its own side patterns in its file: pairs set for one
    // reach no other, and a changed default changes no saved picker. A file
    // saved before pickers kept patterns opens with the default.
    void each_picker_keeps_its_side_patterns_in_its_file()
    {
        QTemporaryDir dir;
        const QString lf = dir.filePath("lf.pkr"), plain = dir.filePath("plain.pkr"), old = dir.filePath("old.pkr");
        no_dialogs guard;
        QVERIFY(run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; QuillmarshPicker rename_tab lf;"
                    "QuillmarshPicker set_mirror_patterns lf_ rt_"));
        QVERIFY(run(QString("QuillmarshPicker saveas \"%1\"").arg(lf)));
        QVERIFY(run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; QuillmarshPicker rename_tab plain"));
        QCOMPARE(patterns_of("plain"), built_in);
        QVERIFY(run(QString("QuillmarshPicker saveas \"%1\"").arg(plain)));
        write_pkr_file(old, "old", {button_at(QPoint(5, 5), {"rig:arm"})});

        QVERIFY(run("QuillmarshPicker set_mirror_patterns -default Lf Rt"));
        QCOMPARE(result("QuillmarshPicker get_mirror_patterns -default"), (QStringList{"Lf", "Rt"}));
        QCOMPARE(patterns_of("plain"), built_in);
        QVERIFY(run(QString("QuillmarshPicker clear_tabs; QuillmarshPicker open \"%1\" \"%2\" \"%3\"")
                        .arg(lf, plain, old)));
        h.drain_idle();
        QCOMPARE(patterns_of("lf"), QString("lf_ rt_"));
        QCOMPARE(patterns_of("plain"), built_in);
        QCOMPARE(patterns_of("old"), QString("Lf Rt"));
        QVERIFY(run("QuillmarshPicker new_tab; QuillmarshPicker rename_tab new"));
        QCOMPARE(patterns_of("new"), QString("Lf Rt"));
        // No pairs: the tab takes the default; it saves what it has.
        run("QuillmarshPicker set_tab lf; QuillmarshPicker set_mirror_patterns");
        QCOMPARE(patterns_of("lf"), QString("Lf Rt"));
        QCOMPARE(guard.seen, 0);
        QCOMPARE(h.error_count(), 0);

        // Pairs for no picker would be lost: an error says so.
        run("QuillmarshPicker clear_tabs");
        QVERIFY(!run("QuillmarshPicker set_mirror_patterns lf_ rt_"));
        QVERIFY(h.output_text().contains("set_mirror_patterns: there is no picker to set them for"));
        QCOMPARE(result("QuillmarshPicker get_mirror_patterns"), (QStringList{"Lf", "Rt"}));
    }

    // The scene keeps each tab's side patterns; scene data written before
    // tabs kept them opens with the user's default.
    void the_scene_keeps_each_pickers_side_patterns()
    {
        QTemporaryDir dir;
        const QString scene = dir.filePath("sides.ma"), older = dir.filePath("older.ma");
        QVERIFY(run("QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; QuillmarshPicker rename_tab lf;"
                    "QuillmarshPicker set_mirror_patterns lf_ rt_; QuillmarshPicker new_tab;"
                    "QuillmarshPicker rename_tab plain; QuillmarshPicker flush"));
        QVERIFY(h.save_scene(scene, nullptr));
        QVERIFY(run("QuillmarshPicker set_mirror_patterns -default Lf Rt"));
        QVERIFY(run(QString("file -f -open \"%1\"").arg(scene)));
        h.drain_idle();
        QCOMPARE(result("QuillmarshPicker query_tabs"), (QStringList{"lf", "plain"}));
        QCOMPARE(patterns_of("lf"), QString("lf_ rt_"));
        QCOMPARE(patterns_of("plain"), built_in);

        QByteArray stream;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            out << qint32(6) << qint32(1) << qint32(0) << qint32(0) << QString("old") << QString() << qint32(0);
        }
        h.set_file_info("QuillmarshPickerData", QString(encode_picker_data(stream)));
        QVERIFY(h.save_scene(older, nullptr));
        QVERIFY(run(QString("file -f -open \"%1\"").arg(older)));
        h.drain_idle();
        QCOMPARE(result("QuillmarshPicker query_tabs"), QStringList{"old"});
        QCOMPARE(patterns_of("old"), QString("Lf Rt"));
        QCOMPARE(h.error_count(), 0);
    }

    // Patterns given to mirror_buttons serve that call alone; without them
    // the tab's own pairs apply.
    void mirror_buttons_takes_patterns_for_one_call_or_from_the_tab()
    {
        QVERIFY(run("createNode transform -n \"rig:lf_hand\" -ss; createNode transform -n \"rig:rt_hand\" -ss;"
                    "select -r rig:lf_hand; QuillmarshPicker add_button 150 50 hand; QuillmarshPicker clear_background"));
        const QString copy = "QuillmarshPicker get_button_properties object rig:rt_hand";
        QCOMPARE(result("QuillmarshPicker mirror_buttons 80 white -patterns lf_ rt_"), QStringList());
        QCOMPARE(result(copy).mid(0, 2), (QStringList{"10", "50"}));
        QCOMPARE(result("QuillmarshPicker get_mirror_patterns").join(' '), built_in);

        view()->undoer()->undo();
        // Without a picture: about the middle of the outermost buttons (10 and 150).
        QVERIFY(run("QuillmarshPicker set_mirror_patterns lf_ rt_"));
        QCOMPARE(result("QuillmarshPicker mirror_buttons"), QStringList());
        QCOMPARE(result(copy).mid(0, 2), (QStringList{"10", "50"}));
    }
};

QTEST_MAIN(test_directives)
#include "test_directives.moc"
