// What a view draws over its picture and buttons: the banner along the
// bottom edge and the marquee of a selection drag.
#pragma once

#include <QImage>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QVector>

class QPainter;
class picker_view;

class picker_overlay {
public:
    virtual void draw(QPainter& painter) = 0;
    virtual ~picker_overlay() = default;
};

class marquee_overlay : public picker_overlay {
public:
    void draw(QPainter& painter) override;
    void setAnchor(const QPoint& p) { anchor = p; }
    void setPoint(const QPoint& p) { point = p; }
    void reset();
    bool isEmpty() const;
    // Stops one pixel short of the larger coordinate on each axis.
    QRect bounds() const;

    QPoint anchor;
    QPoint point;
};

class banner_overlay : public picker_overlay {
public:
    struct bannerRecord {
        bannerRecord(const char* label, const char* url, const char* brief = nullptr);
        QString label;
        QString url;
        QString brief; // what a narrow view shows
        QRect rect;    // hit area in widget pixels
        QString shown; // the label as drawn: brief or elided where the view is narrow
    };

    explicit banner_overlay(picker_view* view);
    void draw(QPainter& painter) override;
    // Lays the banner out for a widget of this size: every link shown, in
    // smaller text, beside the logo's badge alone, by its brief name, or in
    // rows as the width asks; none at all where it would take over a third
    // of the view's height.
    void resize(int width, int height);
    // True when the press at pos (widget pixels) fell on the banner, which
    // lies over the buttons; when on a link, the view then holds a gesture
    // that opens it on release.
    bool click(const QPoint& pos);
    // Whether the banner hides the widget pixel at pos.
    bool covers(const QPoint& pos) const;

    picker_view* view;
    QImage image;
    QList<bannerRecord> links;
    QRect rect;
    int strip_top = 0;  // in the banner's picture
    int logo_width = 0; // of the logo as drawn
    static QImage logo;
};

// Owns the view's overlays: element 0 the marquee, element 1 the banner.
class overlay_list {
public:
    explicit overlay_list(picker_view* view);
    ~overlay_list();
    overlay_list(const overlay_list&) = delete;
    overlay_list& operator=(const overlay_list&) = delete;

    // Draws the banner, then the marquee.
    void draw(QPainter& painter);
    picker_overlay* get(int i) const;
    int count() const { return items_.size(); }
    marquee_overlay* marquee() const;
    banner_overlay* banner() const;

private:
    QVector<picker_overlay*> items_;
};
