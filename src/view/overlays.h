// What a view draws besides its picture and buttons: the marquee of a
// selection drag, over everything, and the banner along the bottom edge,
// under the buttons.
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
        bannerRecord(const char* label, const char* url);
        QString label;
        QString url;
        QRect rect; // hit area in widget pixels
    };

    explicit banner_overlay(picker_view* view);
    void draw(QPainter& painter) override;
    // Lays the banner out for a widget of this size.
    void resize(int width, int height);
    // True when the press at pos (widget pixels) hit a link; the view then
    // holds a gesture that opens it on release.
    bool click(const QPoint& pos);

    picker_view* view;
    QImage image;
    QList<bannerRecord> links;
    QRect rect;
    static QImage logo;
};

// Owns the view's overlays: element 0 the marquee, element 1 the banner.
class overlay_list {
public:
    explicit overlay_list(picker_view* view);
    ~overlay_list();
    overlay_list(const overlay_list&) = delete;
    overlay_list& operator=(const overlay_list&) = delete;

    // Draws what goes over the buttons (the banner is drawn with the canvas).
    void draw(QPainter& painter);
    picker_overlay* get(int i) const;
    int count() const { return items_.size(); }
    marquee_overlay* marquee() const;
    banner_overlay* banner() const;

private:
    QVector<picker_overlay*> items_;
};
