// The base of press-drag-release gestures. A view holds at most one; it gets
// every move, then one last update and finish() at the release.
#pragma once

#include <QPoint>
#include <QRect>
#include <QString>

class picker_mouse_cmd {
public:
    virtual ~picker_mouse_cmd() = default;
    virtual void update(const QPoint& pos, int modifiers) = 0;
    virtual void finish() = 0;
};

// A press on one of the banner's links: the link opens only if the release
// happens inside the same label.
class track_url_cmd : public picker_mouse_cmd {
public:
    track_url_cmd(const QRect& rect, const QPoint& pos, const QString& url);
    void update(const QPoint& pos, int modifiers) override;
    void finish() override;

private:
    QRect rect_;
    QPoint last_;
    QString url_;
};
