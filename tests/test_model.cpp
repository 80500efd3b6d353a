// Buttons and name sets: which names reach the host on select and unselect,
// and the set's exact, ordered, duplicate-free behaviour.
#include "model/button_model.h"
#include "model/name_list.h"
#include "model/object_names.h"
#include "model/picker_page.h"

#include <QtTest>

namespace {

name_flags flags_from(const QString& digits)
{
    name_flags flags;
    for (QChar c : digits)
        flags << quint8(c == QLatin1Char('1'));
    return flags;
}

buttonAttributes sample()
{
    buttonAttributes a;
    a.pos = QPoint(10, -4);
    a.size = a.width = 30;
    a.height = 20;
    a.kind = 0;
    a.language = 0;
    a.color = 0xff336699;
    a.labelColor = 0xffffff;
    a.label = QStringLiteral("Arm");
    a.names = QStringList{QStringLiteral("arm"), QStringLiteral("hand")};
    return a;
}

} // namespace

class test_model : public QObject {
    Q_OBJECT

private slots:
    void cleanup()
    {
        buttonRecord::set_selection_list(nullptr);
    }

    // A change to any one field makes two buttons differ.
    void equality_sees_every_field()
    {
        void (*const edits[])(buttonAttributes&) = {
            [](buttonAttributes& b) { b.pos.ry() += 1; },  [](buttonAttributes& b) { b.size += 1; },
            [](buttonAttributes& b) { b.width += 1; },     [](buttonAttributes& b) { b.height += 1; },
            [](buttonAttributes& b) { b.kind = 1; },       [](buttonAttributes& b) { b.language = 1; },
            [](buttonAttributes& b) { b.color ^= 1; },     [](buttonAttributes& b) { b.labelColor ^= 1; },
            [](buttonAttributes& b) { b.label += 'x'; },   [](buttonAttributes& b) { b.names.swapItemsAt(0, 1); }};
        const buttonAttributes a = sample();
        for (int field = 0; field < 10; ++field) {
            buttonAttributes b = a;
            QVERIFY(a == b);
            edits[field](b);
            QVERIFY2(a != b, qPrintable(QString::number(field)));
        }
    }

    // Plugs are what an attribute button quotes into MEL: anything that
    // is not node.attribute is refused, so nothing else can run.
    void plug_names_data()
    {
        QTest::addColumn<QString>("plug");
        QTest::addColumn<bool>("valid");
        QTest::newRow("plain") << "face.jaw" << true;
        QTest::newRow("namespaces") << "chars:hero:face_ctrl.L_brow" << true;
        QTest::newRow("DAG path") << "|rig|hero:head.aim[12].x" << true;
        QTest::newRow("no attribute") << "hero:face" << false;
        QTest::newRow("empty attribute") << "face." << false;
        QTest::newRow("empty index") << "face.w[]" << false;
        QTest::newRow("index too long") << "face.w[1234567890]" << false;
        QTest::newRow("digit first") << "face.1x" << false;
        QTest::newRow("namespace without name") << "hero:.x" << false;
        QTest::newRow("MEL") << "face.x; system(\"rm\")" << false;
        QTest::newRow("quote") << "face.x\"" << false;
        QTest::newRow("blank") << "face .x" << false;
    }
    void plug_names()
    {
        QFETCH(QString, plug);
        QFETCH(bool, valid);
        QCOMPARE(is_plug_name(plug), valid);
    }

    void select_passes_new_names_once_data()
    {
        QTest::addColumn<bool>("selecting");
        QTest::addColumn<bool>("listed");
        QTest::addColumn<bool>("quiet");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("flags");
        QTest::addColumn<QStringList>("passed");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QString>("after");
        QTest::addColumn<int>("selected");

        const QStringList abc{"a", "b", "c"};
        QTest::newRow("select clear names") << true << true << false << abc << "010"
                                            << QStringList{"a", "c"} << true << "111" << 1;
        QTest::newRow("select all flagged") << true << true << false << abc << "111"
                                            << QStringList() << false << "111" << 1;
        QTest::newRow("select quiet") << true << true << true << abc << "000"
                                      << QStringList() << false << "111" << 1;
        QTest::newRow("select without names") << true << true << false << QStringList() << ""
                                              << QStringList() << false << "" << 1;
        QTest::newRow("select without list") << true << false << false << abc << "100"
                                             << QStringList() << true << "111" << 1;
        QTest::newRow("unselect set names") << false << true << false << abc << "101"
                                            << QStringList{"a", "c"} << true << "000" << 0;
        QTest::newRow("unselect none set") << false << true << false << abc << "000"
                                           << QStringList() << false << "000" << 0;
        QTest::newRow("unselect quiet") << false << true << true << abc << "111"
                                        << QStringList() << false << "000" << 0;
        QTest::newRow("unselect without list") << false << false << false << abc << "010"
                                               << QStringList() << true << "000" << 0;
    }
    void select_passes_new_names_once()
    {
        QFETCH(bool, selecting);
        QFETCH(bool, listed);
        QFETCH(bool, quiet);
        QFETCH(QStringList, names);
        QFETCH(QString, flags);
        QFETCH(QStringList, passed);
        QFETCH(bool, result);
        QFETCH(QString, after);
        QFETCH(int, selected);

        // Unselecting starts from a list holding every name and drops some.
        name_list list;
        list.assign(selecting ? QStringList() : names);
        if (listed)
            buttonRecord::set_selection_list(&list);
        buttonAttributes a = sample();
        a.names = names;
        buttonRecord r(a);
        r.nameFlags = flags_from(flags);
        r.selected = selecting ? 0 : 1;

        QCOMPARE(selecting ? r.select(quiet) : r.unselect(quiet), result);
        QStringList expected = selecting ? passed : names;
        if (!selecting)
            for (const QString& name : passed)
                expected.removeOne(name);
        QCOMPARE(list.names(), expected);
        QCOMPARE(r.nameFlags, flags_from(after));
        QCOMPARE(int(r.selected), selected);
    }


    // A host name stands for its object in every form that names that
    // object alone, and in no other.
    void host_names_stand_for_their_paths()
    {
        QCOMPARE(same_object_names("ctl", "|a|b|ctl"), (QStringList{"ctl", "b|ctl", "a|b|ctl", "|a|b|ctl"}));
        QCOMPARE(same_object_names("b|ctl", "|a|b|ctl"), (QStringList{"b|ctl", "a|b|ctl", "|a|b|ctl"}));
        QCOMPARE(same_object_names("hero:body.vtx[0:3]", "|hero:grp|hero:body.vtx[0:3]"),
                 (QStringList{"hero:body.vtx[0:3]", "hero:grp|hero:body.vtx[0:3]", "|hero:grp|hero:body.vtx[0:3]"}));
        QCOMPARE(same_object_names("ctl", "|ctl"), (QStringList{"ctl", "|ctl"}));
        // Anchored already, or a full path of something else (a shape's
        // component for its transform's, a longer leaf): only itself.
        QCOMPARE(same_object_names("|ctl", "|ctl"), QStringList{"|ctl"});
        QCOMPARE(same_object_names("ball.vtx[0]", "|ball|ballShape.vtx[0]"), QStringList{"ball.vtx[0]"});
        QCOMPARE(same_object_names("ctl", "|a|my_ctl"), QStringList{"ctl"});
        QCOMPARE(same_object_names("ctl", ""), QStringList{"ctl"});

        name_list list;
        list.assign({"ctl", "x"}, {"|grp|ctl", "|x"});
        for (const char* name : {"ctl", "grp|ctl", "|grp|ctl", "x", "|x"})
            QVERIFY2(list.contains(name_ids::intern(name)), name);
        QVERIFY(!list.contains(name_ids::intern("other|ctl")));
        QCOMPARE(list.names(), (QStringList{"ctl", "x"}));
        // Adding another name of a listed object adds nothing; dropping one
        // drops the object with all its names.
        QVERIFY(!list.add(name_ids::intern("|grp|ctl")));
        QVERIFY(list.remove(name_ids::intern("grp|ctl")));
        QCOMPARE(list.names(), QStringList{"x"});
        QVERIFY(!list.contains(name_ids::intern("|grp|ctl")));
        // A new list forgets the old one's paths.
        list.assign({"ctl"});
        QVERIFY(!list.contains(name_ids::intern("|x")));
        QVERIFY(!list.contains(name_ids::intern("grp|ctl")));
    }


    // What a page announces is what an edit changed, once per held edit,
    // and ids find their buttons wherever the list has moved them.
    void pages_announce_their_edits()
    {
        picker_page page;
        QVector<page_notice> heard;
        QObject::connect(&page, &picker_page::changed, [&](const page_notice& n) { heard << n; });
        for (int i = 0; i < 4; ++i)
            page.insert(sample());
        QCOMPARE(heard.size(), 4);
        QCOMPARE(heard[0].fields, unsigned(page_field::layout));
        const button_id second = page.at(1).id, last = page.at(3).id;

        heard.clear();
        {
            picker_page::hold outer(&page);
            picker_page::hold inner(&page);
            page.set_color(1, 0x123456);
            page.move(3, QPoint(7, 7));
            page.move(3, QPoint(7, 7)); // no change, no notice
            page.set_path("x.pkr");
        }
        QCOMPARE(heard.size(), 1);
        QCOMPARE(heard[0].fields, unsigned(page_field::look | page_field::position | page_field::path));
        QCOMPARE(heard[0].buttons, (QVector<button_id>{second, last}));

        page.remove(0);
        page.insert(sample(), 0);
        page.insert(sample(), 0);
        QCOMPARE(page.row_of(second), 2);
        QCOMPARE(page.row_of(last), 4);
        page.remove_ids({second, 999999, last});
        QCOMPARE(page.count(), 3);
        QCOMPARE(page.row_of(second), -1);
    }
};

QTEST_MAIN(test_model)
#include "test_model.moc"
