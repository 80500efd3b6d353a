// What a scene may still take. Every path that adds buttons or tabs asks
// first and refuses the whole edit, so that a scene and its files always
// read back as they were written.
#pragma once

#include <QString>
#include <QVector>

class picker_page;

// Empty when `page` (one of `pages`, or null for a new tab) can take
// `more_buttons` holding `more_names` names within a picker's and the
// scene's limits and the scene can take `more_tabs`; otherwise why not, in
// words.
QString no_room(const QVector<const picker_page*>& pages, const picker_page* page, qint64 more_buttons,
                int more_tabs = 0, qint64 more_names = 0);

// Empty when one button may hold this many names; otherwise why not.
QString too_many_names(qint64 names);
