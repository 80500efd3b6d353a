// A command button's script as one step on the host's undo queue: the text
// the host runs opens an undo chunk, runs the script and closes the chunk
// whether the script fails or not.
#pragma once

#include <QString>

QString mel_in_undo_chunk(const QString& script);
QString python_in_undo_chunk(const QString& script);
