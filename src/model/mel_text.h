// Values from files and scenes meet MEL only when they are values the picker
// itself could have made.
#pragma once

#include <QString>

// Background keys are the decimal numbers the picker makes from a pixmap's
// cache key; anything else read from outside is no background at all.
bool is_background_key(const QString& key);
