#include "view/overlays.h"

#include "view/picker_mouse_cmd.h"
#include "view/picker_view.h"

#include <QFont>
#include <QFontMetrics>
#include <QPainter>

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

banner_overlay::bannerRecord::bannerRecord(const char* l, const char* u)
    : label(QString::fromUtf8(l)), url(QString::fromUtf8(u))
{
}

banner_overlay::banner_overlay(picker_view* v) : view(v)
{
    links << bannerRecord("Learn at Quillmarsh", learn_url)
          << bannerRecord("Free Characters", characters_url) << bannerRecord("Blog", blog_url)
          << bannerRecord("Forums", forums_url);
}

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

    QFont font("Tahoma", 12);
    QFontMetrics metrics(font);
    int total = logo.width();
    QVector<int> widths;
    for (bannerRecord& link : links) {
        link.rect = metrics.boundingRect(link.label);
        widths << link.rect.width();
        total += link.rect.width();
    }
    // Labels that cannot all be shown with a gap of 10 are left out from the
    // last one on, rather than drawn over each other or cut at the edge.
    int shown = links.size();
    int gap = 0;
    for (; shown > 0; --shown) {
        gap = int(float(w - total) / (float(shown) + 1.25f));
        if (gap >= 10)
            break;
        total -= widths[shown - 1];
    }

    // Hit areas: each label's width, from the strip's top to the widget's bottom.
    int x = logo.width() + gap;
    QVector<int> xs;
    for (int i = 0; i < links.size(); ++i) {
        bannerRecord& link = links[i];
        if (i >= shown) {
            link.rect = QRect();
            continue;
        }
        xs << x;
        link.rect.moveTopLeft(QPoint(x, h - 7));
        link.rect.setTop(h - strip_height);
        link.rect.setBottom(h);
        x += gap + widths[i];
    }

    image = QImage(w, logo.height(), QImage::Format_ARGB32);
    image.fill(0);
    QPainter painter;
    if (painter.begin(&image)) {
        const QColor grey(0xff929292);
        painter.setBrush(grey);
        painter.setPen(grey);
        painter.drawRect(0, logo.height() - strip_height, w, strip_height);
        painter.drawImage(QPoint(0, 3), logo);
        painter.setBrush(Qt::white);
        painter.setPen(Qt::white);
        painter.setFont(font);
        for (int i = 0; i < xs.size(); ++i)
            painter.drawText(QPoint(xs[i], logo.height() - 7), links[i].label);
        painter.end();
    }
    rect = QRect(QPoint(0, h - logo.height()), QSize(w, logo.height()));
}

bool banner_overlay::click(const QPoint& pos)
{
    if (!rect.contains(pos) || rect.bottom() - pos.y() >= 23 || pos.x() - rect.left() <= logo.width())
        return false;
    // A button under the banner keeps its clicks.
    if (view && view->find_button(pos))
        return false;
    for (const bannerRecord& link : links) {
        if (!link.rect.isNull() && link.rect.left() <= pos.x() && pos.x() <= link.rect.right()) {
            if (view)
                view->addMouseCommand(new track_url_cmd(link.rect, pos, link.url));
            return true;
        }
    }
    return false;
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
    // The banner is part of the canvas, drawn before the buttons.
    for (picker_overlay* overlay : items_)
        if (overlay && overlay != banner())
            overlay->draw(painter);
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
