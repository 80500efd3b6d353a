#include "view/overlays.h"

#include "view/picker_mouse_cmd.h"
#include "view/picker_view.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>

#include <iterator>
#include <utility>

namespace {
// Where the banner's links lead.
const char* const learn_url = "https://www.quillmarsh.com/learn";
const char* const characters_url = "https://www.quillmarsh.com/characters";
const char* const blog_url = "https://www.quillmarsh.com/blog";
const char* const forums_url = "https://forums.quillmarsh.com/";

const int strip_height = 22;
} // namespace

// ----- marquee

void marquee_overlay::reset()
{
    anchor = QPoint(0, 0);
    point = QPoint(0, 0);
}

bool marquee_overlay::isEmpty() const
{
    return anchor.isNull() && point.isNull();
}

QRect marquee_overlay::bounds() const
{
    int left = qMin(anchor.x(), point.x());
    int top = qMin(anchor.y(), point.y());
    return QRect(left, top, qMax(anchor.x(), point.x()) - left, qMax(anchor.y(), point.y()) - top);
}

void marquee_overlay::draw(QPainter& painter)
{
    QRect r = bounds();
    if (anchor == point || r.isEmpty())
        return;
    painter.setOpacity(0.2);
    painter.setPen(Qt::NoPen);
    painter.fillRect(r, Qt::white);
    painter.setOpacity(1.0);
    painter.setPen(Qt::white);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(r);
    painter.setPen(Qt::NoPen);
}

// ----- banner

QImage banner_overlay::logo;

banner_overlay::bannerRecord::bannerRecord(const char* l, const char* u, const char* b)
    : label(QString::fromUtf8(l)), url(QString::fromUtf8(u)), brief(b ? QString::fromUtf8(b) : label)
{
}

banner_overlay::banner_overlay(picker_view* v) : view(v)
{
    links << bannerRecord("Learn at Quillmarsh", learn_url, "Learn")
          << bannerRecord("Free Characters", characters_url, "Characters") << bannerRecord("Blog", blog_url)
          << bannerRecord("Forums", forums_url);
}

namespace {

// The badge at the left of the logo, without the name beside it: what a
// narrow view shows.
const int badge_width = 44;
// Link text sizes tried in turn, largest first, for one row of links.
const int link_points[] = {12, 11, 10, 9};
const int min_gap = 10;

struct banner_layout {
    bool whole_logo = true;
    QFont font;
    QVector<QString> shown;   // each link's text, elided where it must be
    QVector<int> widths;
    QVector<QPoint> places;   // left end and row (0 the top row)
    int rows = 1;
};

// One row beside the logo, the gaps spread evenly; false when a gap would
// fall below the least.
bool one_row(banner_layout& l, int w, int logo_w, const QVector<QString>& labels)
{
    const QFontMetrics metrics(l.font);
    int total = logo_w;
    l.widths.clear();
    for (const QString& label : labels) {
        l.widths << metrics.horizontalAdvance(label);
        total += l.widths.last();
    }
    const int gap = int(float(w - total) / (float(labels.size()) + 1.25f));
    if (gap < min_gap)
        return false;
    l.shown = labels;
    l.places.clear();
    int x = logo_w + gap;
    for (int width : std::as_const(l.widths)) {
        l.places << QPoint(x, 0);
        x += gap + width;
    }
    l.rows = 1;
    return true;
}

// As many rows as the links need beside the badge, each link whole unless
// even a row of its own is too narrow for it.
void in_rows(banner_layout& l, int w, const QVector<QString>& labels)
{
    const QFontMetrics metrics(l.font);
    const int room = std::max(0, w - badge_width - 2 * min_gap);
    int x = badge_width + min_gap, row = 0;
    l.shown.clear();
    l.widths.clear();
    l.places.clear();
    for (const QString& label : labels) {
        QString text = label;
        if (metrics.horizontalAdvance(text) > room)
            text = metrics.elidedText(text, Qt::ElideRight, room);
        const int width = metrics.horizontalAdvance(text);
        if (x + width > w - min_gap && x > badge_width + min_gap) {
            x = badge_width + min_gap;
            ++row;
        }
        l.shown << text;
        l.widths << width;
        l.places << QPoint(x, row);
        x += width + min_gap;
    }
    l.rows = row + 1;
}

} // namespace

void banner_overlay::resize(int w, int h)
{
    if (w <= 0 || h <= 0)
        return;
    if (logo.isNull() || logo.width() == 0) {
        init_picker_resources();
        logo.load(":/resources/PickerWindowLogoCropped.png");
    }
    if (logo.isNull())
        return;

    // The whole logo and every link on one row, in the largest text that
    // fits; else the badge alone; else the links' brief names; else those in
    // rows beside the badge.
    QVector<QString> labels, briefs;
    for (const bannerRecord& link : std::as_const(links)) {
        labels << link.label;
        briefs << link.brief;
    }
    banner_layout layout;
    bool placed = false;
    const struct {
        bool whole;
        const QVector<QString>& names;
    } tries[] = {{true, labels}, {false, labels}, {false, briefs}};
    for (const auto& attempt : tries) {
        for (int points : link_points) {
            layout.whole_logo = attempt.whole;
            layout.font = QFont("Tahoma", points);
            if ((placed = one_row(layout, w, attempt.whole ? logo.width() : badge_width, attempt.names)))
                break;
        }
        if (placed)
            break;
    }
    if (!placed) {
        layout.whole_logo = false;
        layout.font = QFont("Tahoma", link_points[std::size(link_points) - 1]);
        in_rows(layout, w, briefs);
    }

    // The strip runs along the bottom, a row of links high each; the logo
    // stands on its bottom edge and rises above it.
    const int strip = strip_height * layout.rows;
    const int height = std::max(logo.height() + 3, strip);
    // A view too small to spare the room shows no banner at all.
    if (height * 3 > h) {
        image = QImage();
        rect = QRect();
        for (bannerRecord& link : links) {
            link.rect = QRect();
            link.shown.clear();
        }
        return;
    }
    logo_width = layout.whole_logo ? logo.width() : badge_width;
    strip_top = height - strip;
    image = QImage(w, height, QImage::Format_ARGB32);
    image.fill(0);
    QPainter painter;
    if (painter.begin(&image)) {
        const QColor grey(0xff929292);
        painter.setBrush(grey);
        painter.setPen(grey);
        painter.drawRect(0, strip_top, w, strip);
        painter.drawImage(QPoint(0, height - logo.height()), logo, QRect(0, 0, logo_width, logo.height()));
        painter.setBrush(Qt::white);
        painter.setPen(Qt::white);
        painter.setFont(layout.font);
        for (int i = 0; i < layout.shown.size(); ++i) {
            const QPoint at = layout.places[i];
            painter.drawText(QPoint(at.x(), strip_top + strip_height * (at.y() + 1) - 7), layout.shown[i]);
        }
        painter.end();
    }
    rect = QRect(QPoint(0, h - height), QSize(w, height));
    // Hit areas: each label's width, its row of the strip high, in the widget.
    for (int i = 0; i < links.size(); ++i) {
        const QPoint at = layout.places[i];
        const int top = rect.top() + strip_top + strip_height * at.y();
        links[i].rect = QRect(QPoint(at.x(), top), QPoint(at.x() + layout.widths[i] - 1, top + strip_height));
        links[i].shown = layout.shown[i];
    }
}

bool banner_overlay::click(const QPoint& pos)
{
    if (!covers(pos))
        return false;
    // The banner lies over the buttons: a press on it is the banner's.
    for (const bannerRecord& link : std::as_const(links)) {
        if (!link.shown.isEmpty() && link.rect.contains(pos)) {
            if (view)
                view->addMouseCommand(new track_url_cmd(link.rect, pos, link.url));
            break;
        }
    }
    return true;
}

bool banner_overlay::covers(const QPoint& pos) const
{
    if (!rect.contains(pos))
        return false;
    // The strip, and the logo standing on it.
    return pos.y() >= rect.top() + strip_top
        || (pos.x() < logo_width && pos.y() >= rect.bottom() + 1 - logo.height());
}

void banner_overlay::draw(QPainter& painter)
{
    if (!image.isNull())
        painter.drawImage(rect.topLeft(), image);
}

// ----- list

overlay_list::overlay_list(picker_view* view)
{
    items_ << new marquee_overlay << new banner_overlay(view);
}

overlay_list::~overlay_list()
{
    qDeleteAll(items_);
}

void overlay_list::draw(QPainter& painter)
{
    // Both over the buttons; a marquee dragged across the banner over it too.
    for (int i = items_.size() - 1; i >= 0; --i)
        if (items_[i])
            items_[i]->draw(painter);
}

picker_overlay* overlay_list::get(int i) const
{
    return i >= 0 && i < items_.size() ? items_[i] : nullptr;
}

marquee_overlay* overlay_list::marquee() const
{
    return static_cast<marquee_overlay*>(items_[0]);
}

banner_overlay* overlay_list::banner() const
{
    return static_cast<banner_overlay*>(items_[1]);
}
