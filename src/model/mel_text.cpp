#include "model/mel_text.h"

bool is_background_key(const QString& key)
{
    // A qint64 in decimal: at most 19 digits after an optional minus.
    int start = key.startsWith('-') ? 1 : 0;
    int digits = key.size() - start;
    if (digits < 1 || digits > 19)
        return false;
    for (int i = start; i < key.size(); ++i)
        if (key[i] < '0' || key[i] > '9')
            return false;
    return true;
}
