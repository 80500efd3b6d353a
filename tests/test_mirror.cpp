// Mirroring buttons: how names, labels and scripts move to the other side,
// where the copies land, and that the whole mirror is one exact undo step.
#include "edit/mirror_command.h"
#include "model/side_patterns.h"
#include "recording_host.h"
#include "view/picker_view.h"

#include <QSettings>
#include <QStandardPaths>
#include <QUndoStack>
#include <QtTest>

namespace {

buttonAttributes make_button(QPoint pos, QStringList names, int w = 12, int h = 8)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = w;
    a.height = h;
    a.color = 0xc0392b;
    a.labelColor = 0xffffff;
    a.names = names;
    return a;
}

QStringList describe(const picker_view& view)
{
    QStringList out;
    for (const buttonRecord& r : view.buttons())
        out << QString("%1,%2 %3x%4 k%5 %6 '%7' [%8] s%9")
                   .arg(r.pos.x()).arg(r.pos.y()).arg(r.width).arg(r.height).arg(r.kind)
                   .arg(r.color, 0, 16).arg(r.label, r.names.join(',')).arg(r.selected);
    return out;
}

const QStringList defaults = side_patterns::built_in();

} // namespace

class test_mirror : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void cleanup() { side_patterns::set_user_default({}); }

    void names_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("mirrored");
        QTest::newRow("prefix") << "L_arm" << "R_arm";
        QTest::newRow("suffix") << "arm_L" << "arm_R";
        QTest::newRow("word prefix") << "leftArm" << "rightArm";
        QTest::newRow("namespace left alone") << "L_hero:arm" << "L_hero:arm";
        QTest::newRow("each DAG segment") << "|hero:L_grp|hero:L_arm" << "|hero:R_grp|hero:R_arm";
        QTest::newRow("attribute kept") << "hero:L_arm.L_twist" << "hero:R_arm.L_twist";
        QTest::newRow("component kept") << "hero:body_L.vtx[0:3]" << "hero:body_R.vtx[0:3]";
        QTest::newRow("prefix pattern is no suffix") << "arm_L_" << "arm_L_";
        QTest::newRow("case matters") << "l_arm" << "l_arm";
        QTest::newRow("inside is no match") << "arm_L_hand" << "arm_L_hand";
        QTest::newRow("first pattern only") << "L_arm_R" << "R_arm_R";
        QTest::newRow("the pattern alone is no name") << "L_" << "L_";
    }

    void names()
    {
        QFETCH(QString, name);
        QFETCH(QString, mirrored);
        QCOMPARE(mirror::map_name(name, defaults), mirrored);
    }

    // An attribute button's plug is sided by its attributes as well: a
    // face control's L_brow is the left brow.
    void plugs()
    {
        QCOMPARE(mirror::map_plug("hero:face_ctrl.L_brow", defaults), QString("hero:face_ctrl.R_brow"));
        QCOMPARE(mirror::map_plug("hero:L_eye_ctrl.lookX", defaults), QString("hero:R_eye_ctrl.lookX"));
        QCOMPARE(mirror::map_plug("|rig|hero:L_arm.L_twist.aim_L", defaults), QString("|rig|hero:R_arm.R_twist.aim_R"));
        QCOMPARE(mirror::map_plug("hero:face_ctrl.jaw_open", defaults), QString("hero:face_ctrl.jaw_open"));
    }

    void labels_and_scripts_data()
    {
        QTest::addColumn<bool>("script");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("mirrored");
        QTest::newRow("side word") << false << "L fingers" << "R fingers";
        QTest::newRow("name as label") << false << "L_arm" << "R_arm";
        QTest::newRow("middle label") << false << "All" << "All";
        QTest::newRow("empty script") << true << "" << "";
        QTest::newRow("mel") << true << "select -r hero:L_arm hero:L_leg; print \"L_\";"
                             << "select -r hero:R_arm hero:R_leg; print \"L_\";";
        QTest::newRow("python") << true << "cmds.select('hero:arm_L.tx')" << "cmds.select('hero:arm_R.tx')";
        QTest::newRow("python syntax stays") << true << "cmds.select(cmds.ls('L_*')[:2], r=True); d = {'L_':L_x}"
                                             << "cmds.select(cmds.ls('R_*')[:2], r=True); d = {'L_':L_x}";
        QTest::newRow("flags untouched") << true << "select -r -add x" << "select -r -add x";
    }

    void labels_and_scripts()
    {
        QFETCH(bool, script);
        QFETCH(QString, text);
        QFETCH(QString, mirrored);
        const int language = text.contains("cmds.") ? 1 : 0;
        const QString out = script ? mirror::map_script(text, language, defaults) : mirror::map_label(text, defaults);
        QCOMPARE(out, mirrored);
        QVERIFY(!out.isNull()); // files tell an empty text from none
    }

    void patterns_are_checked_and_kept_data()
    {
        QTest::addColumn<QStringList>("pairs");
        QTest::addColumn<QString>("why");
        QTest::newRow("pairs") << QStringList{"Lf_", "Rt_", "_lf", "_rt"} << "";
        QTest::newRow("odd") << QStringList{"L_", "R_", "_L"} << "patterns come in pairs: left, right";
        QTest::newRow("only underscores") << QStringList{"__", "R_"} << "\"__\" has no letters or digits";
        QTest::newRow("namespace") << QStringList{"a:L", "R"} << "\"a:L\" may hold only letters, digits and _";
        QTest::newRow("same both sides") << QStringList{"L_", "L_"} << "\"L_\" is on both sides";
        QStringList many;
        for (int i = 0; i < 33; ++i)
            many << QString("a%1").arg(i) << QString("b%1").arg(i);
        QTest::newRow("too many") << many << "a picker holds at most 32 pairs of patterns";
        QTest::newRow("too long") << QStringList{QString(65, 'L'), "R"} << "a pattern has at most 64 characters";
    }

    // The user's default is what a picker starts with; a picker made
    // before it changed keeps its own pairs.
    void patterns_are_checked_and_kept()
    {
        QFETCH(QStringList, pairs);
        QFETCH(QString, why);
        QCOMPARE(side_patterns::check(pairs), why);
        if (!why.isEmpty())
            return;
        picker_page before;
        side_patterns::set_user_default(pairs);
        picker_page after;
        QCOMPARE(before.mirror_patterns(), defaults);
        QCOMPARE(after.mirror_patterns(), pairs);
        QCOMPARE(mirror::map_name("hero:Lf_arm", after.mirror_patterns()), QString("hero:Rt_arm"));
        QCOMPARE(mirror::map_name("hero:L_arm", after.mirror_patterns()), QString("hero:L_arm"));
        QVERIFY(!after.set_mirror_patterns({"L_"}));
        QCOMPARE(after.mirror_patterns(), pairs);
        // Damaged settings fall back to the defaults rather than half-mapping.
        QSettings("Quillmarsh", "picker").setValue("mirrorPatterns", QStringList{"x"});
        QCOMPARE(side_patterns::user_default(), defaults);
    }

    // A copy keeping a name of its own side would select the side it came
    // from: nothing is made, and the warning names every such button with
    // those names. A button on the axis is its own copy and is no reason.
    void buttons_whose_names_do_not_map_are_refused()
    {
        recording_host host;
        picker_view view(nullptr);
        view.push_button(make_button(QPoint(10, 0), {"L_a"}), -1);
        buttonAttributes back = make_button(QPoint(20, 0), {"L_b", "hero:spine", "grp|spine"});
        back.label = "back";
        view.push_button(back, -1);
        buttonAttributes say = make_button(QPoint(30, 0), {"print \"hi\""});
        say.kind = 1;
        view.push_button(say, -1);
        view.push_button(make_button(QPoint(55, 0), {"mid"}), -1);
        view.push_button(make_button(QPoint(100, 0), {"R_a"}), -1);
        for (int k = 0; k < 4; ++k)
            view.page()->set_state(k, 1);
        const QStringList before = describe(view);
        view.mirror_buttons();
        QCOMPARE(describe(view), before);
        QCOMPARE(view.undoer()->count(), 0);
        QCOMPARE(host.warnings,
                 QStringList{"Mirror refused: the side patterns (L_/R_, _L/_R, left/right, Left/Right, LEFT/RIGHT) "
                             "do not map these names of 2 buttons: back: hero:spine, grp|spine; the command button "
                             "at 30, 0: its script."});

        // With pairs that map them, the same buttons mirror.
        host.warnings.clear();
        QVERIFY(view.page()->set_mirror_patterns({"L_", "R_", "spine", "spine2"}));
        view.page()->set_state(2, 0);
        view.mirror_buttons();
        QCOMPARE(view.buttons().size(), 6); // L_a's copy is there already
        QCOMPARE(view.buttons().last().names, (QStringList{"R_b", "hero:spine2", "grp|spine2"}));

        // Patterns are shown as typed, a "%2" in them too.
        QCOMPARE(mirror::unmapped_reason({"arm: L_arm"}, {"%2_", "%3_"}),
                 QString("the side patterns (%2_/%3_) do not map these names of 1 button: arm: L_arm"));
    }

    void mirror_is_one_exact_undo_step()
    {
        recording_host host;
        picker_view view(nullptr);
        QImage picture(320, 100, QImage::Format_RGB32);
        picture.fill(Qt::gray);
        view.setBackground("1", png_picture::from_image(picture));
        view.push_button(make_button(QPoint(160, 20), {"hero:head"}), -1);
        view.push_button(make_button(QPoint(200, 30), {"hero:L_arm"}, 14, 6), -1);
        buttonAttributes fingers = make_button(QPoint(290, 60), {"hero:L_thumb", "hero:L_index"});
        fingers.label = "L fingers";
        QImage hand(6, 4, QImage::Format_RGB32);
        hand.fill(Qt::white);
        hand.setPixel(0, 0, qRgb(255, 0, 0)); // a left-right mark
        fingers.picture = png_picture::from_image(hand);
        view.push_button(fingers, -1);
        buttonAttributes cmd = make_button(QPoint(250, 80), {"select -r hero:L_arm"});
        cmd.kind = 1;
        view.push_button(cmd, -1);
        view.page()->set_state(1, 1);
        view.page()->set_state(2, 1);
        view.page()->set_state(3, 1);
        const QStringList before = describe(view);

        host.absent = QStringList{"hero:R_index"};
        view.mirror_buttons();
        // About the picture's middle, size and colour kept, the copies the
        // selection and nothing else.
        QCOMPARE(describe(view).mid(4),
                 (QStringList{"120,30 14x6 k0 c0392b '' [hero:R_arm] s1",
                              "30,60 12x8 k0 c0392b 'R fingers' [hero:R_thumb,hero:R_index] s1",
                              "70,80 12x8 k1 c0392b '' [select -r hero:R_arm] s1"}));
        QCOMPARE(view.buttons()[1].selected, qint16(0));
        QCOMPARE(view.buttons()[4].bounds, QRect(114, 28, 14, 6));
        // The picture goes along as it is, not turned over.
        QCOMPARE(view.buttons()[5].picture.png(), fingers.picture.png());
        QCOMPARE(host.warnings,
                 QStringList{"QuillmarshPicker - Mirror: 1 mirrored button selects objects the scene does not "
                             "have: R fingers: hero:R_index"});

        QCOMPARE(view.undoer()->count(), 1);
        QCOMPARE(view.undoer()->undoText(), QString("Mirror Buttons"));
        const QStringList after = describe(view);
        view.undoer()->undo();
        QStringList unselected = before;
        unselected.replaceInStrings(" s1", " s0"); // the host's selection shows again: none
        QCOMPARE(describe(view), unselected);
        view.undoer()->redo();
        QCOMPARE(describe(view), after);
    }

    // Without a picture the outermost centres give the axis. A script then
    // puts a button in front and renames the copy: undo still takes back
    // exactly the copy, now at another row.
    void without_a_picture_the_outermost_centres_give_the_axis()
    {
        recording_host host;
        picker_view view(nullptr);
        view.push_button(make_button(QPoint(10, 0), {"L_a"}, 30, 10), -1);
        view.push_button(make_button(QPoint(100, 0), {"mid"}, 10, 10), -1);
        QCOMPARE(mirror::default_twice_axis(view.page()), 110);
        view.page()->set_state(0, 1);
        view.mirror_buttons();
        QCOMPARE(view.buttons().last().pos, QPoint(100, 0));
        QCOMPARE(view.buttons().last().names, QStringList{"R_a"});
        QVERIFY(host.warnings.isEmpty());

        view.page()->insert(make_button(QPoint(0, 50), {"front"}), 0);
        view.page()->set_names(3, QStringList{"other"});
        view.undoer()->undo();
        QCOMPARE(view.buttons().size(), 3);
        QCOMPARE(view.buttons()[0].names, QStringList{"front"});
        QCOMPARE(view.buttons()[1].names, QStringList{"L_a"});
        QCOMPARE(view.buttons()[2].names, QStringList{"mid"});
    }

    void copies_already_there_are_not_made_again()
    {
        recording_host host;
        picker_view view(nullptr);
        view.push_button(make_button(QPoint(10, 0), {"L_a"}), -1);
        view.push_button(make_button(QPoint(55, 0), {"mid"}), -1);
        view.push_button(make_button(QPoint(100, 0), {"R_a"}), -1);
        for (int k = 0; k < 3; ++k)
            view.page()->set_state(k, 1);
        int there = -1;
        QVERIFY(mirror::mirrored_copies(view.page(), view.page()->lit_rows(), 110, defaults, &there).isEmpty());
        QCOMPARE(there, 3);
        view.mirror_buttons();
        QCOMPARE(view.buttons().size(), 3);
        QCOMPARE(view.undoer()->count(), 0);
    }
};

QTEST_MAIN(test_mirror)
#include "test_mirror.moc"
