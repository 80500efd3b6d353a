#include "window/color_menu.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>

namespace {

// A row of n hues at one saturation and value; the hue is accumulated.
void add_row(QVector<unsigned int>& out, double s, double v, int n)
{
    double h = 0.0;
    for (int i = 0; i < n; ++i) {
        out.append(QColor::fromHsvF(h, s, v, 1.0).rgba());
        h += 1.0 / n;
    }
}

void add_row_bw(QVector<unsigned int>& out, int n)
{
    double value = 0.0;
    for (int i = 0; i < n; ++i) {
        out.append(QColor::fromHsvF(0.0, 0.0, value, 1.0).rgba());
        value = qMin(1.0, value + 1.0 / (n - 1));
    }
}

const int palette_columns = 12;
const int palette_cell = 17;

} // namespace

unsigned int distance_fn(const QColor& a, const QColor& b)
{
    const int dr = a.red() - b.red(), dg = a.green() - b.green(), db = a.blue() - b.blue();
    return unsigned(dr * dr + dg * dg + db * db);
}

picker_colorMenu::picker_colorMenu(const QVector<unsigned int>& c, int cols, int cell, QWidget* parent)
    : QWidget(parent), colors(c), columns(cols), rows(cols > 0 ? c.size() / cols : 0), cellSize(cell)
{
    widgetSize = QSize(2 + columns * (cellSize + 2), 2 + rows * (cellSize + 2));
    setMinimumSize(widgetSize);
    resize(widgetSize);
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_NoSystemBackground);
    // A closed palette has done its work: nothing else holds on to it.
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowFlags(Qt::Popup);
}

QVector<unsigned int> picker_colorMenu::color_palette()
{
    QVector<unsigned int> out;
    add_row(out, 0.43, 0.702, palette_columns);
    add_row(out, 0.498, 1.0, palette_columns);
    add_row(out, 1.0, 1.0, palette_columns);
    add_row(out, 1.0, 0.749, palette_columns);
    add_row(out, 1.0, 0.502, palette_columns);
    add_row_bw(out, palette_columns);
    return out;
}

picker_colorMenu* picker_colorMenu::open(const QVector<unsigned int>& palette, int cols, QObject* receiver,
                                         const char* slot, const QPoint& globalPos, QColor* current)
{
    auto* menu = new picker_colorMenu(palette, cols, palette_cell);
    int index = menu->findColorIndex(current ? *current : QColor(Qt::black));
    // The current colour sits under the pointer, unless that would put part
    // of the palette off the screen.
    menu->move(globalPos - menu->indexToPosition(index));
    if (receiver)
        connect(menu, SIGNAL(colorChanged(QRgb)), receiver, slot);
    menu->show();
    QScreen* screen = QGuiApplication::screenAt(globalPos);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen) {
        const QRect area = screen->availableGeometry();
        QRect frame = menu->frameGeometry();
        frame.moveLeft(qMax(area.left(), qMin(frame.left(), area.right() + 1 - frame.width())));
        frame.moveTop(qMax(area.top(), qMin(frame.top(), area.bottom() + 1 - frame.height())));
        if (frame.topLeft() != menu->frameGeometry().topLeft())
            menu->move(frame.topLeft());
    }
    menu->setTracking(index);
    return menu;
}

picker_colorMenu* picker_colorMenu::execute_color(QObject* receiver, const QPoint& globalPos, QColor* current)
{
    return open(color_palette(), palette_columns, receiver, SLOT(set_button_color(QRgb)), globalPos, current);
}

picker_colorMenu* picker_colorMenu::execute_label_color(QObject* receiver, const QPoint& globalPos, QColor* current)
{
    return open(color_palette(), palette_columns, receiver, SLOT(set_label_color(QRgb)), globalPos, current);
}

int picker_colorMenu::findColorIndex(const QColor& color) const
{
    int best = 0;
    unsigned int bestDistance = 0;
    for (int i = 0; i < colors.size(); ++i) {
        unsigned int d = distance_fn(QColor::fromRgba(colors[i]), color);
        // Strictly nearer only: a tie keeps the earlier cell.
        if (i == 0 || d < bestDistance) {
            best = i;
            bestDistance = d;
        }
    }
    return best;
}

int picker_colorMenu::positionToIndex(const QPoint& p) const
{
    if (p.x() < 0 || p.x() > width() || p.y() < 0 || p.y() > height())
        return -1;
    const int step = cellSize + spacing;
    return (p.y() / step) * columns + p.x() / step;
}

QPoint picker_colorMenu::indexToPosition(int i) const
{
    const int half = cellSize / 2;
    const int step = spacing + cellSize;
    const int row = columns > 0 ? i / columns : 0;
    const int column = columns > 0 ? i % columns : 0;
    // No spacing term in x while y has one; the palette has always sat so.
    return QPoint(half + column * step, spacing + half + row * step);
}

void picker_colorMenu::setTracking(int i)
{
    if (i == tracked)
        return;
    tracked = i;
    update();
}

void picker_colorMenu::choose()
{
    if (tracked >= 0 && tracked < colors.size())
        emit colorChanged(colors[tracked]);
    close();
}

void picker_colorMenu::mouseMoveEvent(QMouseEvent* e)
{
    if (e->pos() == lastPos)
        return;
    setTracking(positionToIndex(e->pos()));
    lastPos = e->pos();
}

void picker_colorMenu::mousePressEvent(QMouseEvent*)
{
    // The click that opened the palette chooses nothing: the first press arms it.
    if (armed)
        choose();
    else
        armed = true;
}

void picker_colorMenu::mouseReleaseEvent(QMouseEvent*)
{
    if (armed)
        choose();
}

void picker_colorMenu::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setPen(Qt::NoPen);
    p.fillRect(rect(), QColor(40, 40, 40));
    const int step = cellSize + spacing;
    if (tracked >= 0 && columns > 0) {
        p.setBrush(highlight);
        p.drawRoundedRect(QRectF((tracked % columns) * step, (tracked / columns) * step, cellSize + 2 * spacing,
                                 cellSize + 2 * spacing),
                          2.0, 2.0);
    }
    int y = spacing;
    for (int r = 0; r < rows; ++r, y += step) {
        int x = spacing;
        for (int c = 0; c < columns; ++c, x += step) {
            const int i = r * columns + c;
            const QColor color = QColor::fromRgba(colors[i]);
            if (i == tracked)
                p.fillRect(x + 2, y + 2, cellSize - 4, cellSize - 4, color);
            else
                p.fillRect(x, y, cellSize, cellSize, color);
        }
    }
}
