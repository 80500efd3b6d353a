// The recent-pickers entries of the File menu, read from a small text file
// of "name = path" lines (quotes allowed, '#' starts a comment).
#include "window/picker_window.h"

#include "model/safe_file.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QSettings>
#include <QTimer>

#include <utility>


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

namespace {

// The text quoted so that tokenize gives it back; empty when no quoting can
// (it holds both kinds of quote, or a line break).
QString config_token(const QString& text)
{
    if (text.isEmpty() || text.contains('\n') || text.contains('\r'))
        return QString();
    if (!text.contains('"'))
        return '"' + text + '"';
    if (!text.contains('\''))
        return '\'' + text + '\'';
    return QString();
}

} // namespace

QString recent_pickers_path()
{
    QSettings settings("Quillmarsh", "picker");
    return QFileInfo(settings.fileName()).absolutePath() + "/recent_pickers.cfg";
}

void picker_window::parse_picker_config(const QString& path)
{
    // The list is written newest first, a line an entry, and the menu shows
    // max_recent of them: a few kilobytes. Only the head of a file grown
    // huge (or a pipe) is read, so the window still opens at once.
    constexpr qint64 max_bytes = 256 * 1024;
    constexpr int max_lines = 1000;
    QFile file;
    if (open_regular_file(file, path, nullptr) != read_open::ok)
        return;
    QByteArray text = file.read(max_bytes + 1);
    if (text.size() > max_bytes)
        text.truncate(text.lastIndexOf('\n') + 1); // no line cut in half
    const QStringList lines = QString::fromUtf8(text).split('\n');
    for (int i = 0; i < lines.size() && i < max_lines && recentActions.size() < max_recent; ++i) {
        QString line = lines[i];
        if (line.endsWith('\r'))
            line.chop(1);
        QStringList tokens;
        if (tokenize(line.size(), line, tokens) == 3 && tokens[1] == "=")
            add_recent(tokens[0], tokens[2]);
    }
}

void picker_window::add_recent(const QString& name, const QString& path)
{
    if (!recentSeparator)
        recentSeparator = fileMenu->addSeparator();
    if (!recent.contains(name))
        recentOrder << name;
    recent.insert(name, QDir::fromNativeSeparators(path));
    QAction* action = fileMenu->addAction(name);
    addAction(action);
    recentActions << action;
    connect(action, SIGNAL(triggered(bool)), this, SLOT(open_recent_file()));
}

void picker_window::note_recent(const QString& name, const QString& path)
{
    const QString stored = QDir::fromNativeSeparators(QFileInfo(path).absoluteFilePath());
    // One entry per name and per file: the newest wins.
    QList<QPair<QString, QString>> entries{{name, stored}};
    for (const QString& other : std::as_const(recentOrder)) {
        const QString otherPath = recent.value(other);
        if (other != name && otherPath != stored && entries.size() < max_recent)
            entries.append({other, otherPath});
    }
    for (QAction* action : std::as_const(recentActions)) {
        removeAction(action);
        delete action;
    }
    recentActions.clear();
    recentOrder.clear();
    recent.clear();
    for (const auto& entry : std::as_const(entries))
        add_recent(entry.first, entry.second);

    QString text = QStringLiteral("# Recent pickers, newest first: name = \"path\"\n");
    for (const auto& entry : std::as_const(entries)) {
        const QString name_token = config_token(entry.first);
        const QString path_token = config_token(entry.second);
        if (!name_token.isEmpty() && !path_token.isEmpty())
            text += name_token + " = " + path_token + "\n";
    }
    // Written when the host is next idle (or the window closes), so that
    // opening or saving a picker never waits for the disk on its account.
    const bool queued = !recentToWrite.isNull();
    recentToWrite = text;
    if (!queued)
        QTimer::singleShot(0, this, [this] { write_recent(); });
}

void picker_window::write_recent()
{
    if (recentToWrite.isNull())
        return;
    const QString config = recent_pickers_path();
    QDir().mkpath(QFileInfo(config).absolutePath());
    // A list that cannot be written is only a convenience lost: no error.
    write_file_safely(config, recentToWrite.toUtf8(), nullptr);
    recentToWrite = QString();
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
