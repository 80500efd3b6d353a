#include "view/picker_mouse_cmd.h"

#include <QDesktopServices>
#include <QUrl>

track_url_cmd::track_url_cmd(const QRect& rect, const QPoint& pos, const QString& url)
    : rect_(rect), last_(pos), url_(url)
{
}

void track_url_cmd::update(const QPoint& pos, int)
{
    last_ = pos;
}

void track_url_cmd::finish()
{
    if (rect_.contains(last_))
        QDesktopServices::openUrl(QUrl(url_, QUrl::TolerantMode));
}
