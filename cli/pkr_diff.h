// What changed between two pickers, for review in pipelines.
//
// Buttons are matched by what they are rather than where they sit in the
// list, in three passes over the buttons still unmatched, each pairing them
// in list order: the same kind, label and names (or script); then the same
// kind and names (the label changed); then the same kind and a non-empty
// label (the names or script changed). A button left over is added or
// removed; a matched pair reports each field that differs.
#pragma once

#include "model/picker_file.h"

#include <QStringList>

// One line per difference; empty when the pickers are the same.
QStringList diff_pickers(const pkr_contents& a, const pkr_contents& b);
