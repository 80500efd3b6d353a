// A command button's script as one step on the host's undo queue: the text
// the host runs opens an undo chunk, runs the script and closes the chunk
// whether the script fails or not.
#pragma once

#include <QString>
#include <QStringList>

// Any text as a MEL string literal, quotes and line ends escaped.
QString mel_literal(const QString& text);
// Texts as a MEL string array literal, {"a", "b"}, each quoted so.
QString mel_array_literal(const QStringList& texts);

QString mel_in_undo_chunk(const QString& script);
QString python_in_undo_chunk(const QString& script);
