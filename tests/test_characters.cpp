// Several copies of one character in a scene: opening one picker per copy,
// and the window following the animator's selection in the host to the tab
// driving the selected copy, or rebinding a tab that fits it.
#include "host_fixture.h"
#include "pkr_file.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QUndoStack>
#include <QtTest>

class test_characters : public QObject, host_fixture {
    Q_OBJECT

    QTemporaryDir dir;
    QString body; // a picker for charA's arm, leg, hand and head
    QString face; // a picker for charA's jaw

    QAction* follow_action() const
    {
        for (QAction* a : window()->findChild<QMenuBar*>()->findChildren<QAction*>())
            if (a->text() == "Follow Selection")
                return a;
        return nullptr;
    }

    // The namespace each tab drives, in tab order.
    QStringList mains() const
    {
        QStringList out;
        for (const picker_page* page : window()->pages())
            out << page->binding().main;
        return out;
    }

    QStringList tab_texts() const
    {
        QStringList out;
        for (int i = 0; i < window()->tabs()->count(); ++i)
            out << window()->tabs()->tabText(i);
        return out;
    }

    // Only the tabs the body picker opens as, one for each namespace.
    void open_body(const QStringList& namespaces)
    {
        QString args;
        for (const QString& ns : namespaces)
            args += " namespace " + ns;
        QVERIFY(run("QuillmarshPicker clear_tabs"));
        QVERIFY2(run(QString("QuillmarshPicker open \"%1\"%2").arg(body, args)), qPrintable(h.output_text()));
        settle();
    }

    // The host idle, then the window: following waits for both.
    void settle()
    {
        h.drain_idle();
        QCoreApplication::processEvents();
        h.drain_idle();
    }

private slots:
    void initTestCase()
    {
        const QString failed = open_picker_window();
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        body = dir.filePath("body.pkr");
        face = dir.filePath("face.pkr");
        write_pkr_file(body, "body",
                       {button_at({30, 30}, {"charA:arm"}, "arm"), button_at({60, 30}, {"charA:leg"}, "leg"),
                        button_at({90, 30}, {"charA:hand"}, "hand"), button_at({120, 30}, {"charA:head"}, "head")});
        write_pkr_file(face, "face", {button_at({30, 30}, {"charA:jaw"}, "jaw")});
    }

    void init()
    {
        QVERIFY(run("QuillmarshPicker follow_selection 1"));
        run("file -f -new");
        // charE lacks most of the body, charF only its head.
        for (const char* ns : {"charA", "charB", "charC"})
            nodes(ns, {"arm", "leg", "hand", "head", "jaw"});
        nodes("charE", {"arm"});
        nodes("charF", {"arm", "leg", "hand"});
        nodes("prop", {"sword"});
        run("createNode transform -n loose -ss");
        run("namespace -add sub -parent charB; createNode transform -n \"charB:sub:hat\" -ss");
        settle();
        h.clear_output();
    }

    // What the picker does with a selection made in the host, by the
    // namespace of the most recent selected object that has one.
    void a_host_selection_brings_up_its_character_data()
    {
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<int>("front");
        QTest::addColumn<bool>("follow");
        QTest::addColumn<QString>("selection");
        QTest::addColumn<int>("shown");
        QTest::addColumn<QStringList>("driven");
        const QStringList ab{"charA", "charB"};
        QTest::newRow("the front tab drives it") << ab << 1 << true << "charB:arm" << 1 << ab;
        QTest::newRow("another tab drives it") << ab << 0 << true << "charB:leg" << 1 << ab;
        QTest::newRow("off, nothing follows") << ab << 0 << false << "charB:leg" << 0 << ab;
        QTest::newRow("the latest object with a namespace decides")
            << ab << 0 << true << "charB:arm charA:arm loose" << 0 << ab;
        QTest::newRow("a nested namespace counts by its parent") << ab << 0 << true << "charB:sub:hat" << 1 << ab;
        QTest::newRow("a fitting tab is rebound") << QStringList{"charA"} << 0 << true << "charC:hand" << 0
                                                  << QStringList{"charC"};
        QTest::newRow("the front tab is rebound first") << ab << 1 << true << "charC:arm" << 1
                                                        << QStringList{"charA", "charC"};
        QTest::newRow("a copy lacking one name still fits") << QStringList{"charA"} << 0 << true << "charF:arm" << 0
                                                            << QStringList{"charF"};
        QTest::newRow("a copy lacking most names does not") << QStringList{"charA"} << 0 << true << "charE:arm" << 0
                                                            << QStringList{"charA"};
        QTest::newRow("another character's objects") << QStringList{"charA"} << 0 << true << "prop:sword" << 0
                                                     << QStringList{"charA"};
        QTest::newRow("no namespace") << ab << 0 << true << "loose" << 0 << ab;
    }

    void a_host_selection_brings_up_its_character()
    {
        QFETCH(QStringList, tabs);
        QFETCH(int, front);
        QFETCH(bool, follow);
        QFETCH(QString, selection);
        QFETCH(int, shown);
        QFETCH(QStringList, driven);
        open_body(tabs);
        QCOMPARE(mains(), tabs);
        window()->tabs()->setCurrentIndex(front);
        QVERIFY(run(QString("QuillmarshPicker follow_selection %1").arg(int(follow))));
        QVERIFY2(run("select -r " + selection), qPrintable(h.output_text()));
        settle();
        QCOMPARE(window()->tabs()->currentIndex(), shown);
        QCOMPARE(mains(), driven);
        QCOMPARE(h.error_count(), 0);
    }

    // The picker holding the picked object answers before the one that
    // merely drives its namespace: picking the second copy's jaw brings up
    // the face picker, rebound, not the second copy's body.
    void the_picker_of_the_picked_object_answers_first()
    {
        open_body({"charA", "charB"});
        QVERIFY(run(QString("QuillmarshPicker open \"%1\"").arg(face)));
        settle();
        window()->tabs()->setCurrentIndex(0);
        QVERIFY(run("select -r charB:jaw"));
        settle();
        QCOMPARE(window()->tabs()->currentIndex(), 2);
        QCOMPARE(mains(), (QStringList{"charA", "charB", "charB"}));
        QVERIFY(run("select -r charA:jaw"));
        settle();
        QCOMPARE(mains(), (QStringList{"charA", "charB", "charA"}));
        QVERIFY(run("select -r charB:leg"));
        settle();
        QCOMPARE(window()->tabs()->currentIndex(), 1);
        QCOMPARE(h.error_count(), 0);
    }

    // A followed rebind is what Change Namespace... does: one undo step,
    // made once the host is idle (never in the middle of a script), and
    // scripts see the names it moved to from then on.
    void a_followed_rebind_is_one_undo_step()
    {
        open_body({"charA"});
        QUndoStack* undo = view()->undoer();
        const int steps = undo->count();
        QCOMPARE(window()->tabs()->tabText(0), QString("charA: body"));
        QVERIFY(run("select -r charC:head"));
        QCOMPARE(undo->count(), steps);
        settle();
        QCOMPARE(undo->count(), steps + 1);
        QCOMPARE(result("QuillmarshPicker get_namespaces"), QStringList{"charC"});
        QCOMPARE(result("QuillmarshPicker query_button label head"), QStringList{"charC:head"});
        QCOMPARE(int(view()->buttons()[3].selected), 1);
        QTRY_COMPARE(window()->tabs()->tabText(0), QString("charC: body*"));
        QVERIFY(window()->tabs()->tabToolTip(0).contains("charC"));
        undo->undo();
        QCOMPARE(result("QuillmarshPicker query_button label head"), QStringList{"charA:head"});
        QTRY_COMPARE(window()->tabs()->tabText(0), QString("charA: body*"));
        // Selecting more of the same copy asks nothing more of the scene.
        QVERIFY(run("select -r charA:arm"));
        settle();
        QCOMPARE(undo->count(), steps + 1);
    }

    // While the animator edits, the tabs stay; the next selection after
    // the edit follows. The picker catching up with a selection it has
    // seen (the window shown again) moves nothing.
    void only_a_new_selection_outside_an_edit_is_followed()
    {
        open_body({"charA", "charB"});
        window()->tabs()->setCurrentIndex(0);
        const QPoint empty = view()->mapToScreen(QPoint(200, 200));
        QTest::mousePress(view(), Qt::LeftButton, Qt::NoModifier, empty);
        QVERIFY(view()->mouseCommand());
        QVERIFY(run("select -r charB:arm"));
        QCOMPARE(window()->tabs()->currentIndex(), 0);
        QTest::mouseRelease(view(), Qt::LeftButton, Qt::NoModifier, empty);
        settle();
        QVERIFY(run("select -r charB:leg"));
        QCOMPARE(window()->tabs()->currentIndex(), 1);
        window()->tabs()->setCurrentIndex(0);
        QVERIFY(run("QuillmarshPicker"));
        QCOMPARE(window()->tabs()->currentIndex(), 0);
    }

    // The choice is the user's: the menu item and the directive set the
    // same thing, and the settings keep it.
    void follow_selection_data()
    {
        QTest::addColumn<QString>("args");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<bool>("after");
        QTest::newRow("1") << "1" << true << true;
        QTest::newRow("on") << "on" << true << true;
        QTest::newRow("true") << "true" << true << true;
        QTest::newRow("0") << "0" << true << false;
        QTest::newRow("off") << "OFF" << true << false;
        QTest::newRow("a word") << "maybe" << false << true;
        QTest::newRow("two values") << "1 0" << false << true;
    }

    void follow_selection()
    {
        QFETCH(QString, args);
        QFETCH(bool, ok);
        QFETCH(bool, after);
        QCOMPARE(result("QuillmarshPicker follow_selection"), QStringList{"1"});
        QCOMPARE(run("QuillmarshPicker follow_selection " + args), ok);
        if (!ok)
            QVERIFY2(errors().last().startsWith("QuillmarshPicker - follow_selection: "), qPrintable(errors().last()));
        QCOMPARE(result("QuillmarshPicker follow_selection"), QStringList{after ? "1" : "0"});
        QCOMPARE(follow_action()->isChecked(), after);
        QCOMPARE(QSettings("Quillmarsh", "picker").value("followSelection").toBool(), after);
        follow_action()->trigger();
        QCOMPARE(result("QuillmarshPicker follow_selection"), QStringList{after ? "0" : "1"});
        QCOMPARE(QSettings("Quillmarsh", "picker").value("followSelection").toBool(), !after);
    }

    // One file opens as one tab per namespace, each driving its copy and
    // marked as holding what its file does not; arguments are checked
    // before anything opens.
    void open_several_copies_data()
    {
        QTest::addColumn<QString>("args"); // %1 the body picker, %2 the face picker
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<QStringList>("driven");
        QTest::addColumn<QString>("error");
        QTest::newRow("one namespace") << "%1 namespace charB" << QStringList{"charB: body*"} << QStringList{"charB"}
                                       << "";
        QTest::newRow("two namespaces") << "%1 namespace charB namespace charC"
                                        << QStringList{"charB: body*", "charC: body*"} << QStringList{"charB", "charC"}
                                        << "";
        QTest::newRow("two files, two namespaces")
            << "%1 %2 namespace :charB namespace charC:"
            << QStringList{"charB: body*", "charC: body*", "charB: face*", "charC: face*"}
            << QStringList{"charB", "charC", "charB", "charC"} << "";
        QTest::newRow("the root") << "%1 namespace :" << QStringList{"body*"} << QStringList{":"} << "";
        QTest::newRow("a missing namespace") << "%1 namespace charB namespace" << QStringList() << QStringList()
                                             << "open: namespace needs a namespace after it";
        QTest::newRow("not a namespace") << "%1 namespace charB namespace 2nd" << QStringList() << QStringList()
                                         << "open: \"2nd\" is not a namespace";
        QTest::newRow("an empty namespace") << "%1 namespace \"\"" << QStringList() << QStringList()
                                            << "open: \"\" is not a namespace";
        QTest::newRow("a namespace twice") << "%1 namespace charB namespace :charB" << QStringList()
                                           << QStringList() << "open: the namespace \":charB\" is given twice";
        QTest::newRow("a file after the namespaces") << "%1 namespace charB %2" << QStringList() << QStringList()
                                                     << "the files come first";
        QTest::newRow("an unreadable file") << "%1 /no/such.pkr namespace charB namespace charC" << QStringList()
                                            << QStringList() << "open: cannot open \"/no/such.pkr\"";
        QTest::newRow("no file") << "namespace charB" << QStringList() << QStringList() << "open: needs a picker file";
    }

    void open_several_copies()
    {
        QFETCH(QString, args);
        QFETCH(QStringList, tabs);
        QFETCH(QStringList, driven);
        QFETCH(QString, error);
        QVERIFY(run("QuillmarshPicker clear_tabs"));
        QStringList words = args.split(' ');
        for (QString& word : words)
            word = word == "%1" ? '"' + body + '"' : word == "%2" ? '"' + face + '"' : word;
        h.clear_output();
        QCOMPARE(run("QuillmarshPicker open " + words.join(' ')), error.isEmpty());
        if (!error.isEmpty()) {
            QCOMPARE(window()->tabs()->count(), 0);
            QVERIFY2(errors().value(0).contains(error), qPrintable(h.output_text()));
            return;
        }
        QTRY_COMPARE(tab_texts(), tabs);
        QCOMPARE(mains(), driven);
        // Each copy is bound as it opens: nothing to undo, and the scene
        // keeps what the tabs show.
        for (int i = 0; i < tabs.size(); ++i)
            QCOMPARE(tab(i)->undoer()->count(), 0);
        QVERIFY(run("QuillmarshPicker flush; QuillmarshPicker clear_tabs"));
        QVERIFY(run("string $d[] = `fileInfo -q \"QuillmarshPickerData\"`; QuillmarshPicker restore $d[0]"));
        QCOMPARE(mains(), driven);
    }
};

QTEST_MAIN(test_characters)
#include "test_characters.moc"
