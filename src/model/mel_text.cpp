#include "model/mel_text.h"

QString mel_string_literal(const QString& text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += '"';
    for (QChar c : text) {
        switch (c.unicode()) {
        case '"': out += QLatin1String("\\\""); break;
        case '\\': out += QLatin1String("\\\\"); break;
        case '\n': out += QLatin1String("\\n"); break;
        case '\r': out += QLatin1String("\\r"); break;
        case '\t': out += QLatin1String("\\t"); break;
        default: out += c; break;
        }
    }
    out += '"';
    return out;
}

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
