#include "model/undo_chunk.h"

QString mel_literal(const QString& text)
{
    QString out = "\"";
    for (QChar c : text) {
        switch (c.unicode()) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default: out += c;
        }
    }
    return out + '"';
}

QString mel_array_literal(const QStringList& texts)
{
    QStringList quoted;
    for (const QString& text : texts)
        quoted << mel_literal(text);
    return "{" + quoted.join(", ") + "}";
}

namespace {

// The script as a Python string literal.
QString python_literal(const QString& text)
{
    QString out = "'";
    for (QChar c : text) {
        const ushort u = c.unicode();
        if (c == '\'' || c == '\\')
            out += '\\' + QString(c);
        else if (u == '\n')
            out += "\\n";
        else if (u < 0x20 || u == 0x7f)
            out += QString("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out + '\'';
}

} // namespace

// An error stops a MEL statement list, so the script runs inside catch:
// its error is still shown, and the chunk is closed after it.
QString mel_in_undo_chunk(const QString& script)
{
    return QString("undoInfo -openChunk; catch(eval(%1)); undoInfo -closeChunk;").arg(mel_literal(script));
}

// Compiled under the console's name, so errors say where as they did.
QString python_in_undo_chunk(const QString& script)
{
    return QString("__import__('maya.cmds').cmds.undoInfo(openChunk=True)\n"
                   "try:\n"
                   "    exec(compile(%1, '<maya console>', 'exec'))\n"
                   "finally:\n"
                   "    __import__('maya.cmds').cmds.undoInfo(closeChunk=True)\n")
        .arg(python_literal(script));
}
