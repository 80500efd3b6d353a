// What edits act on, through the plug-in in the stand-in host: the buttons
// picked in the picker after a click there (its selection round trip
// included), the lit ones after a selection made in the host; what the
// toolbox shows either way; Mirror leaving highlight and scene in step; and
// a click on a button whose objects are gone naming them.
#include "host_fixture.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QtTest>

class test_targets : public QObject, host_fixture {
    Q_OBJECT

    // The leg of the demo: five controls, and a group button selecting all
    // of them, added last; each control red, the group blue.
    const QStringList controls{"hip", "knee", "ankle", "foot", "toe"};

    static QString full(const QString& control) { return "hero:L_" + control + "_ctrl"; }

    void leg()
    {
        QStringList names;
        for (const QString& c : controls)
            names << "L_" + c + "_ctrl";
        nodes("hero", names);
        run("QuillmarshPicker; QuillmarshPicker clear_tabs; QuillmarshPicker new_tab");
        int y = 20;
        for (const QString& c : controls) {
            run(QString("select -r %1; QuillmarshPicker add_button 40 %2 \"%3\"").arg(full(c)).arg(y).arg(c));
            run(QString("QuillmarshPicker color_button label \"%1\" 200 40 40").arg(c));
            y += 30;
        }
        run("select -r hero:L_*; QuillmarshPicker add_button 120 80 \"L leg\"");
        run("QuillmarshPicker color_button label \"L leg\" 40 40 200; select -cl");
        h.drain_idle();
        view()->resize(300, 300);
        view()->zoom = 1.0;
        view()->shift = QPoint();
    }

    // A click in the picker, and the host's idle time that follows it.
    void click_button(const QString& label, Qt::KeyboardModifiers mods = Qt::NoModifier)
    {
        const int row = view()->find_button_index_from_label(label);
        QVERIFY2(row >= 0, qPrintable(label));
        click(view(), view()->mapToScreen(view()->buttons()[row].bounds).center(), mods);
        h.drain_idle();
    }

    QStringList labels() const
    {
        QStringList out;
        for (const buttonRecord& r : view()->buttons())
            out << r.label;
        return out;
    }

    QStringList lit() const
    {
        QStringList out;
        for (const buttonRecord& r : view()->buttons())
            if (r.selected == 1)
                out << r.label;
        return out;
    }

    const buttonRecord& button(const QString& label) const
    {
        return view()->buttons()[view()->find_button_index_from_label(label)];
    }

    void trigger(const QString& text)
    {
        for (QAction* a : view()->actions())
            if (a->text() == text) {
                a->trigger();
                return;
            }
        QFAIL(qPrintable("no action " + text));
    }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        const QString why = start_linked_picker(h, &main);
        QVERIFY2(why.isEmpty(), qPrintable(why));
    }

    void init()
    {
        h.reset();
        h.set_main_window(&main);
        picker_main::deleteAllFn(nullptr);
        leg();
    }

    // The group lights its five controls with it; the edit changes the
    // group alone, as the controls were not picked.
    void edits_act_on_the_picked_group_button_data()
    {
        QTest::addColumn<QString>("edit");
        QTest::newRow("label") << "label";
        QTest::newRow("increase size") << "Increase Size";
        QTest::newRow("delete") << "Delete Button";
        QTest::newRow("nudge") << "Nudge Right";
        QTest::newRow("colour") << "colour";
        QTest::newRow("cut") << "cut";
    }

    void edits_act_on_the_picked_group_button()
    {
        QFETCH(QString, edit);
        click_button("L leg");
        QCOMPARE(h.selection().size(), 5);
        QCOMPARE(lit().size(), 6);
        QVector<buttonAttributes> before;
        for (const buttonRecord& r : view()->buttons())
            before << r;
        if (edit == "label") {
            auto* field = window()->findChild<QLineEdit*>();
            QCOMPARE(field->text(), QString("L leg"));
            field->selectAll();
            QTest::keyClicks(field, "Leg");
            QTest::keyClick(field, Qt::Key_Return);
        } else if (edit == "colour") {
            window()->set_button_color(0xff00ff00);
        } else if (edit == "cut") {
            window()->cut_buttons();
        } else {
            trigger(edit);
        }
        QCOMPARE(view()->undoer()->count(), 1);
        const bool gone = edit == "Delete Button" || edit == "cut";
        QCOMPARE(view()->buttons().size(), gone ? 5 : 6);
        for (int i = 0; i < 5; ++i)
            QCOMPARE(static_cast<const buttonAttributes&>(view()->buttons()[i]), before[i]);
        if (!gone)
            QVERIFY(static_cast<const buttonAttributes&>(view()->buttons()[5]) != before[5]);
    }

    // Shift adds a picked button to the targets; a button lit with the
    // group moves with Control only when it is itself pressed.
    void shift_adds_and_control_drags_what_it_presses()
    {
        click_button("L leg");
        click_button("foot", Qt::ShiftModifier); // lit through the group: Shift unlights it
        QCOMPARE(lit(), (QStringList{"hip", "knee", "ankle", "toe"}));
        click_button("foot", Qt::ShiftModifier);
        trigger("Increase Size");
        QCOMPARE(button("foot").width, 11);
        QCOMPARE(button("L leg").width, 11);
        QCOMPARE(button("toe").width, 10);

        click_button("L leg");
        const QPoint from = view()->mapToScreen(button("knee").bounds).center();
        press(view(), from, Qt::ControlModifier);
        move(view(), from + QPoint(30, 0), Qt::ControlModifier);
        release(view(), from + QPoint(30, 0), Qt::ControlModifier);
        h.drain_idle();
        QCOMPARE(button("knee").pos, QPoint(70, 50));
        QCOMPARE(button("L leg").pos, QPoint(120, 80));
        QCOMPARE(button("hip").pos, QPoint(40, 20));
        QCOMPARE(view()->undoer()->undoText(), QString("Move Button"));
    }

    // A selection made in the host makes the lit buttons the targets, as
    // does one whose objects light the same buttons a click did.
    void a_host_selection_targets_the_lit_buttons()
    {
        click_button("L leg");
        run(QString("select -r %1 %2").arg(full("foot"), full("toe")));
        QCOMPARE(lit(), (QStringList{"foot", "toe"}));
        trigger("Delete Button");
        QCOMPARE(labels(), (QStringList{"hip", "knee", "ankle", "L leg"}));
        QCOMPARE(view()->undoer()->undoText(), QString("Delete Buttons"));

        view()->undoer()->undo();
        click_button("toe");
        run("select -r hero:L_*");
        trigger("Decrease Size");
        for (const buttonRecord& r : view()->buttons())
            QCOMPARE(r.width, 9);
    }

    // Whatever route changed the selection, the toolbox shows the targets'
    // values; with none, the look new buttons get, never an older one.
    void the_toolbox_shows_the_targets_whatever_selected_them()
    {
        auto* field = window()->findChild<QLineEdit*>();
        click_button("L leg");
        QCOMPARE(window()->currentColor() & 0xffffff, QRgb(0x2828c8));
        QCOMPARE(field->text(), QString("L leg"));
        run("select -r " + full("knee"));
        QCOMPARE(window()->currentColor() & 0xffffff, QRgb(0xc82828));
        QCOMPARE(field->text(), QString("knee"));
        run("select -cl");
        QCOMPARE(window()->currentColor(), QRgb(0xB22222));
        QCOMPARE(field->text(), QString());
        h.drain_idle();

        // A new object selected by script: the button added for it looks
        // like new buttons do, not like the knee.
        nodes("hero", {"L_heel_ctrl"});
        run("select -r hero:L_heel_ctrl");
        window()->add_one_button();
        const buttonRecord& added = view()->buttons().last();
        QCOMPARE(added.names, QStringList{"hero:L_heel_ctrl"});
        QCOMPARE(added.color, 0xB22222u);
        QCOMPARE(added.label, QString());
        // The new button is what the next edit acts on.
        QCOMPARE(window()->currentColor(), QRgb(0xB22222));
        window()->set_button_color(0xff123456);
        QCOMPARE(view()->buttons().last().color & 0xffffff, 0x123456u);
        QCOMPARE(button("knee").color & 0xffffff, 0xc82828u);
    }

    // After Mirror the copies are lit and their objects selected in the
    // scene; copies whose objects the scene lacks stay dark, unselected.
    void mirror_leaves_highlight_and_scene_in_step()
    {
        nodes("hero", {"R_hip_ctrl", "R_knee_ctrl", "R_foot_ctrl"});
        click_button("knee");
        click_button("foot", Qt::ShiftModifier);
        click_button("toe", Qt::ShiftModifier);
        trigger("Mirror");
        h.drain_idle();
        QCOMPARE(h.selection(), (QStringList{"hero:R_knee_ctrl", "hero:R_foot_ctrl"}));
        QStringList shown;
        for (const buttonRecord& r : view()->buttons())
            if (r.selected)
                shown << QString("%1 %2").arg(r.names.join(',')).arg(r.selected);
        QCOMPARE(shown, (QStringList{"hero:R_knee_ctrl 1", "hero:R_foot_ctrl 1"}));
        QVERIFY(h.output_text().contains("hero:R_toe_ctrl"));
        // The copies are the targets, the one whose object is missing too.
        window()->set_button_color(0xff00ff00);
        int green = 0;
        for (const buttonRecord& r : view()->buttons())
            green += (r.color & 0xffffff) == 0x00ff00u;
        QCOMPARE(green, 3);
    }

    // A click on a button whose objects are gone selects the rest and names
    // the missing ones; the button stays the target, so it can be fixed.
    void a_click_names_the_missing_objects()
    {
        // Bound, say in an older rig, to two objects this scene lacks.
        view()->page()->set_names(view()->find_button_index_from_label("toe"),
                                  {full("toe"), "hero:L_toe_tip", "hero:L_toe_end"});
        QCOMPARE(window()->missing_objects(button("toe")), (QStringList{"hero:L_toe_tip", "hero:L_toe_end"}));
        QCOMPARE(window()->missing_objects(button("knee")), QStringList());
        h.clear_output();
        click_button("toe");
        QVERIFY2(h.output_text().contains(
                     "// Warning: QuillmarshPicker - select: not in the scene: hero:L_toe_tip, hero:L_toe_end"),
                 qPrintable(h.output_text()));
        QVERIFY(!h.output_text().contains("command failed"));
        QCOMPARE(h.selection(), QStringList{full("toe")});
        QCOMPARE(int(button("toe").selected), 2);
        trigger("Delete Button");
        QVERIFY(!labels().contains("toe"));
        // What was selected is one undo step all the same.
        run("undo");
        QCOMPARE(h.selection(), QStringList());
        run("redo");
        QCOMPARE(h.selection(), QStringList{full("toe")});

        // None of them there: the host keeps its selection, and says why.
        run("QuillmarshPicker update_button label knee hero:gone");
        h.clear_output();
        click_button("knee");
        QVERIFY(h.output_text().contains("// Error: QuillmarshPicker - select: not in the scene: hero:gone"));
        QCOMPARE(h.selection(), QStringList{full("toe")});
    }
};

QTEST_MAIN(test_targets)
#include "test_targets.moc"
