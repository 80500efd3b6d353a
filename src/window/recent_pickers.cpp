// The recent-pickers entries of the File menu, read from a small text file
// of "name = path" lines (quotes allowed, '#' starts a comment).
#include "window/picker_window.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QSettings>
#include <QTextStream>


int tokenize(int length, const QString& line, QStringList& tokens)
{
    enum { between, double_quoted, single_quoted, bare } state = between;
    QString current;
    const int end = qMin(length, line.size());
    for (int i = 0; i < end; ++i) {
        const QChar c = line[i];
        switch (state) {
        case between:
            if (c.isSpace())
                break;
            if (c == '"') {
                state = double_quoted;
            } else if (c == '\'') {
                state = single_quoted;
            } else if (c == '=') {
                tokens << "=";
            } else if (c == '#') {
                i = end; // a comment: the rest of the line is not read
            } else {
                current = c;
                state = bare;
            }
            break;
        case double_quoted:
        case single_quoted:
            if (c == (state == double_quoted ? QChar('"') : QChar('\''))) {
                tokens << current;
                current.clear();
                state = between;
            } else {
                current += c;
            }
            break;
        case bare:
            if (c.isSpace()) {
                tokens << current;
                current.clear();
                state = between;
            } else if (c == '=') {
                // Still inside a word: a blank right after gives an empty
                // token, so "name= path" is four tokens and is ignored.
                tokens << current << "=";
                current.clear();
            } else {
                current += c;
            }
            break;
        }
    }
    if (!current.isEmpty())
        tokens << current;
    return tokens.size();
}

QString recent_pickers_path()
{
    QSettings settings("Quillmarsh", "picker");
    return QFileInfo(settings.fileName()).absolutePath() + "/recent_pickers.cfg";
}

void picker_window::parse_picker_config(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return;
    QTextStream in(&file);
    for (QString line = in.readLine(); !line.isNull(); line = in.readLine()) {
        QStringList tokens;
        if (tokenize(line.size(), line, tokens) == 3 && tokens[1] == "=")
            add_recent(tokens[0], tokens[2]);
    }
}

void picker_window::add_recent(const QString& name, const QString& path)
{
    if (recent.isEmpty())
        fileMenu->addSeparator();
    recent.insert(name, QDir::fromNativeSeparators(path));
    QAction* action = fileMenu->addAction(name);
    addAction(action);
    connect(action, SIGNAL(triggered(bool)), this, SLOT(open_recent_file()));
}

void picker_window::open_recent_file()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (!action)
        return;
    auto found = recent.constFind(action->text());
    if (found != recent.constEnd())
        load_one_picker(found.value());
}
