// What a scene may still take. Every path that adds buttons or tabs asks
// first and refuses the whole edit, so that a scene and its files always
// read back as they were written.
#pragma once

#include "model/button_model.h"

#include <QList>
#include <QString>
#include <QVector>

class picker_page;

// Names on these buttons together: what no_room weighs them by.
template <class Buttons>
qint64 names_in(const Buttons& buttons)
{
    qint64 names = 0;
    for (const buttonAttributes& a : buttons)
        names += a.names.size();
    return names;
}

// Empty when `page` (one of `pages`) can take `more_buttons` holding
// `more_names` names within a picker's and the scene's limits and the scene
// can take `more_tabs`; otherwise why not, in words. With a null page the
// buttons come in new tabs, each a picker read from a file, which never
// holds more than a picker may: only the scene's limits apply.
QString no_room(const QVector<const picker_page*>& pages, const picker_page* page, qint64 more_buttons,
                int more_tabs = 0, qint64 more_names = 0);

// Empty when one button may hold this many names; otherwise why not.
QString too_many_names(qint64 names);
