// Values from files, scenes and scripts meet MEL only through these: a value
// is either one the picker itself could have made, or a quoted literal.
#pragma once

#include <QString>

// A MEL string literal holding exactly `text`: quotes, backslashes and line
// breaks escaped, so the value can never end the literal early.
QString mel_string_literal(const QString& text);

// Background keys are the decimal numbers the picker makes from a pixmap's
// cache key; anything else read from outside is no background at all.
bool is_background_key(const QString& key);
