// The directive reference and the Python module's page run: every MEL and
// Python example in docs/directives.md and docs/python.md is run against the
// stand-in host with the plug-in loaded, and what it shows as a result or an
// error must be what it gives.
#include "host_fixture.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

namespace {

struct example {
    QString heading;
    QString language; // "mel" or "python"
    QStringList lines;
};

// The fenced mel and python blocks, each with the heading above it.
QList<example> examples_in(const QString& text)
{
    QList<example> found;
    QString heading;
    example* open = nullptr;
    for (const QString& line : text.split('\n')) {
        if (open) {
            if (line.startsWith("```"))
                open = nullptr;
            else
                open->lines << line;
        } else if (line.startsWith("### ")) {
            heading = line.mid(4).trimmed();
        } else if (line == "```mel" || line == "```python") {
            found.append({heading, line.mid(3), {}});
            open = &found.last();
        }
    }
    return found;
}

// The text as a MEL string literal.
QString mel_string(const QString& text)
{
    QString s = text;
    s.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return '"' + s + '"';
}

} // namespace

class test_docs : public QObject, host_fixture {
    Q_OBJECT

    // The start every example is documented to have.
    void fixture()
    {
        // Side patterns are kept between sessions; every example starts from the defaults.
        QString mel = "file -f -new; namespace -add hero; QuillmarshPicker set_mirror_patterns;";
        for (const char* name : {"head_ctrl", "L_hand_ctrl", "R_hand_ctrl", "L_foot_ctrl", "R_foot_ctrl"})
            mel += QString("createNode transform -n \"hero:%1\" -ss;").arg(name);
        mel += "QuillmarshPicker clear_tabs; QuillmarshPicker new_tab; select -cl;";
        QVERIFY2(h.execute(mel), qPrintable(h.output_text()));
        h.drain_idle();
        h.clear_output();
    }

    // Runs one statement group; its result as the example shows it.
    bool run_example(const QString& language, const QStringList& lines, QString* shown, const QString& preamble)
    {
        mel::value v;
        if (language == "mel") {
            const bool ok = h.execute(lines.join('\n'), &v);
            *shown = v.is_none() ? QString() : v.to_strings().join(' ');
            h.drain_idle();
            return ok;
        }
        // Python: everything but the last line as statements, the last as
        // the expression whose repr is shown.
        QStringList statements = lines;
        const QString last = statements.isEmpty() ? QString() : statements.takeLast();
        statements.prepend(preamble);
        if (!h.execute("python " + mel_string(statements.join('\n'))))
            return false;
        const bool ok = last.trimmed().isEmpty() || h.execute("python " + mel_string("repr(" + last + ")"), &v);
        *shown = v.is_none() ? QString() : v.to_string();
        h.drain_idle();
        return ok;
    }

private slots:
    void initTestCase()
    {
        const QString failed = start_linked_picker(h, &main, "QuillmarshPicker.so");
        QVERIFY2(failed.isEmpty(), qPrintable(failed));
        QVERIFY(h.execute("QuillmarshPicker"));
        QVERIFY(h.execute_python("import sys\nsys.path.insert(0, '" SOURCE_DIR "/module/scripts')"));
        h.drain_idle();
        h.clear_output();
    }

    void every_example_runs_as_shown_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("preamble");
        for (const char* doc : {"directives", "python"}) {
            QFile file(SOURCE_DIR "/docs/" + QString(doc) + ".md");
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QList<example> all = examples_in(QString::fromUtf8(file.readAll()));
            const bool module = QString(doc) == "python";
            QVERIFY(all.size() >= (module ? 9 : 30));
            const QString preamble =
                module ? "import maya.cmds as cmds\nimport quillmarsh_picker as qp" : "import maya.cmds as cmds";
            QHash<QString, int> seen;
            for (const example& e : all) {
                const QString row = (module ? "module: " : "") + e.heading + " (" + e.language + ")";
                const int n = ++seen[row];
                QTest::newRow(qPrintable(n > 1 ? row + " " + QString::number(n) : row))
                    << e.language << e.lines << preamble;
            }
        }
    }
    void every_example_runs_as_shown()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, lines);
        QFETCH(QString, preamble);
        fixture();
        const QString comment = language == "mel" ? "//" : "#";
        const QRegularExpression expectation("^" + QRegularExpression::escape(comment) + " (Result|Error): ?(.*)$");
        QStringList pending;
        for (const QString& line : lines) {
            // A blank line is a moment Maya is idle: what came before has run.
            if (line.trimmed().isEmpty() && !pending.join("").trimmed().isEmpty()) {
                QString shown;
                QVERIFY2(run_example(language, pending, &shown, preamble),
                         qPrintable(pending.join('\n') + "\n" + h.output_text()));
                pending.clear();
                continue;
            }
            const QRegularExpressionMatch m = expectation.match(line);
            if (!m.hasMatch()) {
                pending << line;
                continue;
            }
            h.clear_output();
            QString shown;
            const bool ok = run_example(language, pending, &shown, preamble);
            const QString said = h.output_text();
            if (m.captured(1) == "Result") {
                QVERIFY2(ok, qPrintable(pending.join('\n') + "\n" + said));
                QCOMPARE(shown, m.captured(2));
            } else {
                QVERIFY2(!ok, qPrintable(pending.join('\n') + " did not fail"));
                QVERIFY2(said.contains("// Error: " + m.captured(2)), qPrintable(said));
            }
            pending.clear();
        }
        if (!pending.join("").trimmed().isEmpty()) {
            QString shown;
            QVERIFY2(run_example(language, pending, &shown, preamble), qPrintable(h.output_text()));
        }
    }
};

QTEST_MAIN(test_docs)
#include "test_docs.moc"
