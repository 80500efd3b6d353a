// Side patterns: the pairs ("L_", "R_") that tell a picker's left side from
// its right. Each picker keeps its own, stored with it; the user's default
// (kept in the picker's settings) is what a new picker starts with, and what
// a picker read from a file or scene that carries none gets.
#pragma once

#include <QString>
#include <QStringList>

namespace side_patterns {

// L_ R_ _L _R left right Left Right LEFT RIGHT, as a flat list of pairs.
QStringList built_in();
// Why the list cannot be used as pairs; empty when it can.
QString check(const QStringList& pairs);
// The user's default, or the built-in pairs.
QStringList user_default();
// Keeps the pairs for later sessions; an empty list means the built-in ones.
void set_user_default(const QStringList& pairs);

} // namespace side_patterns
