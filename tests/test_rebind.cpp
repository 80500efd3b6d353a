// Rebinding command scripts: generated MEL and Python scripts that use a
// picker's names in many places are moved between namespaces and back.
#include "model/namespaces.h"
#include "model/object_names.h"

#include "mel_parser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QtTest>

namespace {

// What a placeholder in a script stands for, written for one namespace of
// the picker's character.
enum class role {
    bound, // a name the picker binds
    path,  // the full path of a bound name under a root group
    prop,  // a bound name of another namespace, which never moves
    other, // a name under the character's namespace the picker does not bind
    prefix // the character's namespace alone, joined to names by the script
};

struct place {
    role kind;
    QString leaf;
};

const QStringList bound_leaves{"L_hand_ctrl", "R_foot_ctrl", "spine_01_ctrl", "head_ctrl"};

QString qualify(const QString& ns, const QString& leaf)
{
    return ns == ":" ? leaf : ns + ':' + leaf;
}

QString written(const place& s, const QString& ns)
{
    switch (s.kind) {
    case role::bound: return qualify(ns, s.leaf);
    case role::path: return '|' + qualify(ns, "rig_grp") + '|' + qualify(ns, "tail_ctrl");
    case role::prop: return "sword:" + s.leaf;
    case role::other: return qualify(ns, "extra_ctrl");
    case role::prefix: return ns + ':';
    }
    return QString();
}

// A script with placeholders "\x01<place>\x02" for the names.
struct script_template {
    QString text;
    int language = 0;
    QVector<place> places;

    QString render(const QString& ns) const
    {
        QString out;
        int i = 0;
        while (i < text.size()) {
            if (text[i] != QChar(1)) {
                out += text[i++];
                continue;
            }
            const int close = text.indexOf(QChar(2), i);
            out += written(places[text.mid(i + 1, close - i - 1).toInt()], ns);
            i = close + 1;
        }
        return out;
    }
};

class script_maker {
public:
    script_maker(quint32 seed, bool unbound) : random(seed), unbound(unbound) {}

    script_template make(int language)
    {
        script_template t;
        t.language = language;
        current = &t;
        const int statements = 1 + int(random.bounded(6));
        for (int i = 0; i < statements; ++i)
            t.text += (language == 1 ? python_statement() : mel_statement()) + '\n';
        return t;
    }

private:
    // A placeholder for a name the rewrite must move (or, for a prop, keep).
    QString name()
    {
        place s{role::bound, bound_leaves[int(random.bounded(bound_leaves.size()))]};
        const int r = int(random.bounded(10));
        if (r == 0)
            s.kind = role::path;
        else if (r == 1)
            s = {role::prop, "grip_ctrl"};
        else if (r == 2 && unbound)
            s.kind = role::other;
        current->places << s;
        return QString("\x01%1\x02").arg(current->places.size() - 1);
    }

    QString prefix()
    {
        current->places << place{role::prefix, QString()};
        return QString("\x01%1\x02").arg(current->places.size() - 1);
    }

    QString pick(const QStringList& forms) { return forms[int(random.bounded(forms.size()))]; }

    QString python_statement()
    {
        const QString a = name(), b = name();
        QStringList forms{
            "cmds.select('" + a + "', r=True)",
            "cmds.select([\"" + a + "\", '" + b + "'], add=True)",
            "cmds.setAttr('" + a + ".tx', 0)",
            "cmds.setAttr('" + a + "' + '.rotateX', 45)",
            "values = {'tx':zero, 'ty': 1}; cmds.setAttr('" + a + ".tx', values['tx'])",
            "sel = cmds.ls('" + a + "', sl=True)[:3]; first = sel[1:]; last = sel[-1:][0]",
            "d = {'" + a + "': 1, \"" + b + "\": [1, 2][:1]}",
            "cmds.select('%s' % '" + a + "', '%s.%s' % (\"" + b + "\", 'tx'))",
            "cmds.select('{0}'.format(\"" + a + "\"), noExpand=True)",
            "mel.eval('select -r " + a + " " + b + ";')",
            "mel.eval(\"setAttr \\\"" + a + ".ty\\\" 2;\")",
            "print('" + a + "\\t" + b + "\\n')",
            "print('it\\'s " + a + "')",
            "text = \"\"\"" + a + "\n" + b + "\"\"\"",
            "cmds.select(r'" + a + "', R'" + b + "', u'" + a + "')",
            "key = lambda n:n[:2]; cmds.select(sorted(['" + a + "', '" + b + "'], key=key))",
            "L_hand_ctrl = head_ctrl = 1; x = [L_hand_ctrl, head_ctrl][L_hand_ctrl:head_ctrl]",
            "cmds.select(f'{sel}:{L_hand_ctrl}', b'L_hand_ctrl:x')  # select " + QString("L_hand_ctrl") +
                " by hand: 'head_ctrl'",
            "if cmds.objExists('" + a + "'): cmds.select('" + b + "', tgl=True)",
        };
        if (unbound)
            forms << "ns = '" + prefix() + "'; cmds.select(ns + 'extra_ctrl', ns + \"L_hand_ctrl\")";
        return pick(forms);
    }

    QString mel_statement()
    {
        const QString a = name(), b = name();
        const int k = int(random.bounded(100000));
        QStringList forms{
            "select -r " + a + ";",
            "select -add " + a + " " + b + ";",
            "setAttr " + a + ".tx 0;",
            "setAttr \"" + a + ".ty\" -1.5;",
            "string $s = \"" + a + "\";",
            "string $a[] = {\"" + a + "\", \"" + b + "\"};",
            "string $c = \"" + a + "\" + \".tx\";",
            "string $sel[] = `ls -sl`; select -r `ls \"" + a + "\"` " + b + ";",
            "// select head_ctrl and L_hand_ctrl by hand\nselect -tgl " + a + ";",
            "/* R_foot_ctrl: head_ctrl */ select -d " + a + ";",
            "if (size($sel) > 0) select -d " + a + "; else select -cl;",
            "for ($x in {\"" + a + "\"}) print $x;",
            QString("global proc qm_p%1() { select -r ").arg(k) + a + "; }",
            "catch(eval(\"select -r " + a + " " + b + "\"));",
            "python(\"cmds.select('" + a + "')\");",
            "select -r " + a + ".cv[0:3];",
            "print(\"" + a + "\\n\");",
            "select -r \"" + a + "\" -add " + b + ";",
            "int $L_hand_ctrl = 1; $L_hand_ctrl = $L_hand_ctrl + 1;",
            "while (0) { setAttr -type \"string\" " + a + ".notes \"" + b + "\"; }",
        };
        if (unbound)
            forms << "string $ns = \"" + prefix() + "\"; select -r ($ns + \"extra_ctrl\");";
        return pick(forms);
    }

    QRandomGenerator random;
    bool unbound;
    script_template* current = nullptr;
};

// The picker's selection buttons, in the character's namespace ns.
QVector<buttonAttributes> picker_in(const QString& ns)
{
    QVector<buttonAttributes> buttons;
    for (const QString& leaf : bound_leaves) {
        buttonAttributes b;
        b.names = QStringList{qualify(ns, leaf)};
        buttons << b;
    }
    buttonAttributes b;
    b.names = QStringList{written({role::path, QString()}, ns), "sword:grip_ctrl"};
    buttons << b;
    return buttons;
}

// Indices of the texts Python cannot parse, from one python3 run.
QList<int> python_parse_failures(const QStringList& texts, QString* problem)
{
    QProcess python;
    python.start("python3", {"-c", "import ast, json, sys\n"
                                   "for i, text in enumerate(json.load(sys.stdin)):\n"
                                   "    try:\n"
                                   "        ast.parse(text)\n"
                                   "    except SyntaxError:\n"
                                   "        print(i)\n"});
    if (!python.waitForStarted()) {
        *problem = "python3 did not start";
        return {};
    }
    python.write(QJsonDocument(QJsonArray::fromStringList(texts)).toJson());
    python.closeWriteChannel();
    python.waitForFinished(120000);
    if (python.exitCode() != 0)
        *problem = QString::fromUtf8(python.readAllStandardError());
    QList<int> failed;
    for (const QByteArray& line : python.readAllStandardOutput().split('\n'))
        if (!line.trimmed().isEmpty())
            failed << line.trimmed().toInt();
    return failed;
}

bool mel_parses(const QString& text, QString* why)
{
    try {
        mel::detail::parse(text);
        return true;
    } catch (const mel::detail::syntax_error& e) {
        *why = QString("line %1: %2").arg(e.line).arg(e.message);
    } catch (...) {
        *why = "syntax error";
    }
    return false;
}

} // namespace

class test_rebind : public QObject {
    Q_OBJECT

private slots:
    void scripts_move_with_their_names_data()
    {
        // The character's namespace before and after, and the pair asked for.
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("after");
        QTest::newRow("root into a namespace") << ":" << ":" << "hero" << "hero";
        QTest::newRow("namespace to another") << "hero" << "hero" << "hero1" << "hero1";
        QTest::newRow("into a nested one") << "hero" << "hero" << "chars:hero" << "chars:hero";
        QTest::newRow("nested to nested") << "chars:hero" << "chars:hero" << "chars:hero1" << "chars:hero1";
        QTest::newRow("a parent moves its children") << "chars:hero" << "chars" << "cast" << "cast:hero";
        QTest::newRow("nested to the root") << "chars:hero" << "chars:hero" << ":" << ":";
    }

    void scripts_move_with_their_names()
    {
        QFETCH(QString, before);
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(QString, after);
        // Names the picker does not bind move out of a namespace, but a plain
        // root word is only taken for a bound name: they stay out of moves
        // that touch the root.
        const bool unbound = before != ":" && after != ":";
        script_maker maker(quint32(qHash(QString(QTest::currentDataTag()))), unbound);
        QVector<script_template> templates;
        QVector<buttonAttributes> buttons = picker_in(before);
        const int selection = buttons.size();
        for (int i = 0; i < 400; ++i) {
            templates << maker.make(i % 2);
            buttonAttributes command;
            command.kind = 1;
            command.language = templates.last().language;
            command.names = QStringList{templates.last().render(before)};
            buttons << command;
        }
        const QVector<buttonAttributes> original = buttons;

        QStringList from_list, to_list;
        add_namespace_pair(from_list, to_list, from, to);
        rebind_buttons(buttons, from_list, to_list);
        QCOMPARE(buttons.mid(0, selection), picker_in(after));
        QStringList python;
        for (int i = 0; i < templates.size(); ++i) {
            const QString moved = buttons[selection + i].names[0];
            QCOMPARE(moved, templates[i].render(after));
            if (templates[i].language == 1) {
                python << moved << templates[i].render(before);
            } else {
                QString why;
                QVERIFY2(mel_parses(moved, &why), qPrintable(moved + "\n" + why));
            }
        }
        QString problem;
        const QList<int> failed = python_parse_failures(python, &problem);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QVERIFY2(failed.isEmpty(), qPrintable(python.value(failed.value(0))));

        // And back: every script is as it was.
        QStringList back_from, back_to;
        add_namespace_pair(back_from, back_to, to, from);
        rebind_buttons(buttons, back_from, back_to);
        for (int i = 0; i < buttons.size(); ++i)
            QCOMPARE(buttons[i].names, original[i].names);
    }

    // Hand-picked cases the generator does not reach.
    void script_positions_data()
    {
        QTest::addColumn<int>("language");
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("expected");
        QTest::newRow("mel flag values and numbers")
            << 0 << "move -r -1 .5 2 L_hand_ctrl; setAttr -type \"string\" L_hand_ctrl.n \"x\";"
            << "move -r -1 .5 2 hero:L_hand_ctrl; setAttr -type \"string\" hero:L_hand_ctrl.n \"x\";";
        QTest::newRow("mel command names and procedures stay")
            << 0 << "L_hand_ctrl; proc L_hand_ctrl() {} L_hand_ctrl();"
            << "L_hand_ctrl; proc L_hand_ctrl() {} L_hand_ctrl();";
        QTest::newRow("mel anchored root name") << 0 << "select -r :other;" << "select -r hero:other;";
        QTest::newRow("python unterminated literal") << 1 << "x = 'L_hand_ctrl\ny = 1"
                                                      << "x = 'hero:L_hand_ctrl\ny = 1";
        QTest::newRow("python words that are not names")
            << 1 << "print('L_hand_ctrl is at 10:30; d = {a:b}')" << "print('hero:L_hand_ctrl is at 10:30; d = {a:b}')";
    }

    void script_positions()
    {
        QFETCH(int, language);
        QFETCH(QString, script);
        QFETCH(QString, expected);
        QVector<buttonAttributes> buttons(2);
        buttons[0].names = QStringList{"L_hand_ctrl"};
        buttons[1].kind = 1;
        buttons[1].language = language;
        buttons[1].names = QStringList{script};
        rebind_buttons(buttons, {":"}, {"hero:"});
        QCOMPARE(buttons[1].names[0], expected);
    }
};

QTEST_GUILESS_MAIN(test_rebind)
#include "test_rebind.moc"
