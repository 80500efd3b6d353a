#include "view/picker_view.h"

#include "model/name_ids.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "view/paint_cache.h"
#include "view/picker_mouse_cmd.h"
#include "view/shortcuts.h"
#include "window/picker_window.h"

#include <QAction>
#include <QCursor>
#include <QFileDialog>
#include <QKeyEvent>
#include <QImage>
#include <QHideEvent>
#include <QPaintEngine>
#include <QLinearGradient>
#include <QMessageBox>
#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>
#include <vector>

static void init_resources_once()
{
    Q_INIT_RESOURCE(picker);
}

void init_picker_resources()
{
    // The resources live in a static library; without an explicit call the
    // linker may drop their registration.
    static bool done = (init_resources_once(), true);
    Q_UNUSED(done);
}

float limitZoom(float z)
{
    return float(std::min(std::max(double(z), picker_view::min_zoom), picker_view::max_zoom));
}

float mix_fn(float s, float a, float b)
{
    return a + s * (b - a);
}

int round_fn(double x)
{
    return int(x + 0.5);
}

namespace {

const QColor canvas_color(51, 51, 51, 255);
const QColor selected_fill(224, 224, 224, 255);
const QColor partial_fill(128, 128, 128, 255);
const int zoom_interval_ms = 20;
const float zoom_step = 0.125f;

// An outline is stroked on the edge, half outside: pulled in by that half it
// stays on the button's own pixels.
QRectF inside_pen(const QRectF& r, const QPen& pen)
{
    if (pen.style() == Qt::NoPen)
        return r;
    const qreal half = pen.widthF() / 2;
    return r.adjusted(half, half, -half, -half);
}

} // namespace

picker_view::picker_view(picker_window* w)
    : QWidget(w), window(w), overlays(this)
{
    init_picker_resources();
    setMouseTracking(true);
    // Every paint covers the whole exposed area, so Qt need not clear it first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    make_menu();
    zoomTimer.setSingleShot(false);
    connect(&zoomTimer, SIGNAL(timeout()), this, SLOT(animate_zoom()));
}

picker_view::~picker_view()
{
    delete mouseCmd;
    delete editCursor;
    delete addManyCursor;
}

// ----- Coordinates

QPoint picker_view::mapToPicker(const QPoint& p) const
{
    return QPoint(int(double(float(p.x() - shift.x())) / zoom),
                  int(double(float(p.y() - shift.y())) / zoom));
}

// Every picker unit the widget rectangle shows any part of, so that culling
// by it never drops a button with a visible pixel.
QRect picker_view::mapToPicker(const QRect& r) const
{
    auto map = [this](int v, int s) { return int(std::floor(double(v - s) / zoom)); };
    const int l = map(r.left(), shift.x()), t = map(r.top(), shift.y());
    const int rt = map(r.left() + r.width(), shift.x()), b = map(r.top() + r.height(), shift.y());
    return QRect(QPoint(l, t), QPoint(rt, b));
}

QPoint picker_view::mapToScreen(const QPoint& p) const
{
    return QPoint(int(float(p.x()) * zoom + shift.x()), int(float(p.y()) * zoom + shift.y()));
}

// The pixels a picker rectangle covers: both far edges are mapped (not the
// last unit's left edge), so what is drawn, hit and pressed is one area.
QRect picker_view::mapToScreen(const QRect& r) const
{
    auto map = [this](int v, int s) { return int(std::floor(v * zoom + s)); };
    const int l = map(r.left(), shift.x()), t = map(r.top(), shift.y());
    const int rt = map(r.left() + r.width(), shift.x()), b = map(r.top() + r.height(), shift.y());
    return QRect(l, t, rt - l, b - t);
}

QRectF picker_view::mapToScreenF(const QRect& r) const
{
    const double l = r.left() * zoom + shift.x(), rt = (r.left() + r.width()) * zoom + shift.x();
    const double t = r.top() * zoom + shift.y(), b = (r.top() + r.height()) * zoom + shift.y();
    return QRectF(l, t, rt - l, b - t);
}

// ----- Zoom and pan

void picker_view::setZoom(float z, const QPoint& anchor)
{
    zoom_about(double(limitZoom(z)), anchor);
}

void picker_view::zoom_about(double z, const QPoint& anchor)
{
    if (z == zoom)
        return;
    // The pan is kept to a fraction of a pixel while zooming, or rounding it
    // at every step would walk the point under the pointer away.
    if (shift != exactShift.toPoint())
        exactShift = QPointF(shift);
    const QPointF under = (QPointF(anchor) - exactShift) / zoom;
    zoom = z;
    exactShift = QPointF(anchor) - under * z;
    shift = exactShift.toPoint();
    update();
}

void picker_view::zoom_steps(int steps, const QPoint& anchor)
{
    // Whole steps from where the zoom was last set otherwise, so that n
    // steps in and n out come back to exactly the same zoom.
    if (zoom != zoomBase * std::pow(zoom_factor, zoomStep)) {
        zoomBase = zoom;
        zoomStep = 0;
    }
    const int n = zoomStep + steps;
    const double wanted = zoomBase * std::pow(zoom_factor, n);
    const double z = std::min(std::max(wanted, min_zoom), max_zoom);
    if (z == wanted) {
        zoomStep = n;
    } else {
        zoomBase = z;
        zoomStep = 0;
    }
    zoom_about(z, anchor);
}

void picker_view::setShift(const QPoint& s)
{
    if (s == shift)
        return;
    shift = s;
    update();
}

void picker_view::zoomWindow(float z, const QPoint& newShift)
{
    if (double(z) == zoom && newShift == shift)
        return;
    interpolate.t = 0.0f;
    interpolate.startZoom = float(zoom);
    interpolate.startShift = shift;
    interpolate.endZoom = z;
    interpolate.endShift = newShift;
    zoomTimer.start(zoom_interval_ms);
}

void picker_view::animate_zoom()
{
    interpolate.t += zoom_step;
    if (interpolate.t < 1.0f) {
        float t = interpolate.t;
        float s = 3 * t * t - 2 * t * t * t;
        zoom = mix_fn(s, interpolate.startZoom, interpolate.endZoom);
        shift = QPoint(int(mix_fn(s, float(interpolate.startShift.x()), float(interpolate.endShift.x()))),
                       int(mix_fn(s, float(interpolate.startShift.y()), float(interpolate.endShift.y()))));
    } else {
        zoomTimer.stop();
        zoom = interpolate.endZoom;
        shift = interpolate.endShift;
    }
    update();
}

void picker_view::reset_view()
{
    zoomWindow(1.0f, QPoint(0, 0));
    update();
}

void picker_view::frame_view()
{
    frameBounds(button_bounds(any_selected()), false);
}

bool picker_view::any_selected() const
{
    for (const buttonRecord& r : buttons)
        if (r.selected)
            return true;
    return false;
}

QRect picker_view::button_bounds(bool selectedOnly) const
{
    QRect united(0, 0, 0, 0);
    bool first = true;
    for (const buttonRecord& r : buttons) {
        if (selectedOnly && !r.selected)
            continue;
        united = first ? r.bounds : (united | r.bounds);
        first = false;
    }
    return united;
}

void picker_view::frameBounds(const QRect& r, bool noZoomIn, bool animated)
{
    if (r.isEmpty())
        return;
    float sx = 0.75f * (float(width()) / float(r.width()));
    float sy = 0.75f * (float(height()) / float(r.height()));
    float z = limitZoom(sx < sy ? sx : sy);
    if (noZoomIn && double(z) > zoom)
        z = float(zoom);
    QPoint c = r.center();
    QPoint target(int(float(width() / 2) - z * float(c.x())), int(float(height() / 2) - z * float(c.y())));
    if (animated) {
        zoomWindow(z, target);
        return;
    }
    zoomTimer.stop();
    zoom = double(z);
    shift = target;
    update();
}

// ----- Background

void picker_view::setBackground(const QString& key, const png_picture& picture)
{
    backgroundKey = key;
    background = picture;
    update();
}

void picker_view::change_background()
{
    QString file = QFileDialog::getOpenFileName(this, "Choose Background", QString(),
                                                "Images (*.png *.xpm *.jpg)");
    if (file.isEmpty()) {
        if (background.isNull())
            return;
        auto answer = QMessageBox::question(this, "Background", "Remove current background image?",
                                            QMessageBox::Yes | QMessageBox::Cancel,
                                            QMessageBox::Cancel);
        if (answer != QMessageBox::Yes)
            return;
        setBackground(QString(), png_picture());
        signal_changed();
        return;
    }
    QString why;
    const png_picture picture = load_image_file(file, &why);
    if (picture.isNull()) {
        QMessageBox::warning(this, "Background", why.left(1).toUpper() + why.mid(1) + '.');
        return;
    }
    if (window)
        window->place_background(this, QString::number(picture.key()), picture);
    else
        setBackground(QString::number(picture.key()), picture);
    signal_changed();
}

// ----- Buttons

int picker_view::push_button(buttonAttributes&& a, int index)
{
    if (index < 0)
        index = buttons.size();
    buttons.insert(index, buttonRecord());
    buttonRecord& record = buttons[index];
    static_cast<buttonAttributes&>(record) = std::move(a);
    record.nameFlags.fill(0, record.names.size());
    set_button_size(record, record.width, record.height);
    return index;
}

int picker_view::push_button(const buttonAttributes& a, int index)
{
    // Built where it lives: a record copied into the list would cost a second
    // round of reference counting for each of the thousands a file holds.
    if (index < 0)
        index = buttons.size();
    buttons.insert(index, buttonRecord());
    buttonRecord& record = buttons[index];
    static_cast<buttonAttributes&>(record) = a;
    record.nameFlags.fill(0, a.names.size());
    set_button_size(record, a.width, a.height);
    return index;
}

void picker_view::pop_button(int index)
{
    if (index >= 0 && index < buttons.size())
        buttons.removeAt(index);
}

void picker_view::reset_buttons()
{
    if (buttons.isEmpty())
        return;
    undo.clear();
    buttons.clear();
}

void picker_view::make_button_label(const buttonAttributes& a, buttonRecord* r)
{
    if (a.label.isEmpty()) {
        // No text: a plain box of the set size.
        r->labelPixmap = label_picture();
        QRect box(0, 0, a.width, a.height);
        box.moveCenter(a.pos);
        r->bounds = box;
        return;
    }
    // The picture is only measured here; it is drawn when first painted.
    QSize size;
    r->labelPixmap = label_picture_for(a.label, a.labelColor, &size);
    QRect box(0, 0, std::max(size.width() + 2, a.width), std::max(size.height(), a.height));
    box.moveCenter(a.pos);
    r->bounds = box;
}

void picker_view::set_button_label(buttonRecord& r, const QString& label)
{
    r.label = label;
    make_button_label(r, &r);
    update();
}

// Width and height alone are stored as given (an edit may set 0); only the
// size setters keep them at least 1.
void picker_view::set_button_width(buttonRecord& r, int w)
{
    r.size = w;
    r.width = w;
    make_button_label(r, &r);
    update();
}

void picker_view::set_button_height(buttonRecord& r, int h)
{
    r.height = h;
    make_button_label(r, &r);
    update();
}

void picker_view::set_button_size(buttonRecord& r, int s)
{
    set_button_size(r, s, s);
}

void picker_view::set_button_size(buttonRecord& r, int w, int h)
{
    w = std::max(w, 1);
    h = std::max(h, 1);
    r.size = w;
    r.width = w;
    r.height = h;
    make_button_label(r, &r);
    update();
}

namespace {

// Sets every button's name flags and state from whether each name is
// selected; true when any button's shown state changed. This runs over
// every button of every tab whenever the host's selection changes.
template <typename Buttons, typename Selected>
bool conform_buttons(Buttons& buttons, const Selected& selected)
{
    bool changed = false;
    for (buttonRecord& r : buttons) {
        const int n = r.names.size();
        if (r.nameFlags.size() != n)
            r.nameFlags.resize(n);
        quint8* flags = r.nameFlags.data();
        int count = 0;
        for (int i = 0; i < n; ++i) {
            const quint8 on = selected(r, i) ? 1 : 0;
            flags[i] = on;
            count += on;
        }
        const qint16 state = count == n ? 1 : (count < 1 ? 0 : 2);
        if (state != r.selected) {
            changed = true;
            r.selected = state;
        }
    }
    return changed;
}

} // namespace

bool picker_view::conform_to_set(const button_set& set)
{
    return conform_buttons(buttons, [&](const buttonRecord& r, int i) { return set.contains(r.names.at(i)); });
}

bool picker_view::conform_to_selection()
{
    return conform_buttons(buttons, [](const buttonRecord& r, int i) {
        return picker_window::id_selected(r.name_ids().at(i));
    });
}

bool picker_view::conform_to_selected()
{
    // The names flagged on any button, by id.
    std::vector<quint8> flagged(size_t(name_ids::count()), 0);
    for (const buttonRecord& r : buttons) {
        const int n = qMin(r.names.size(), r.nameFlags.size());
        if (n == 0)
            continue;
        const name_id_list& ids = r.name_ids();
        for (int i = 0; i < n; ++i) {
            if (!r.nameFlags.at(i))
                continue;
            const size_t id = size_t(ids.at(i));
            if (id >= flagged.size())
                flagged.resize(size_t(name_ids::count()), 0);
            flagged[id] = 1;
        }
    }
    return conform_buttons(buttons, [&](const buttonRecord& r, int i) {
        const size_t id = size_t(r.name_ids().at(i));
        return id < flagged.size() && flagged[id];
    });
}

void picker_view::clear_selected()
{
    picker_window::selection_batch batch;
    for (buttonRecord& r : buttons)
        r.unselect(false);
}

void picker_view::select_list(const QVector<int>& indices, bool quiet)
{
    for (int i : indices)
        if (i >= 0 && i < buttons.size())
            buttons[i].select(quiet);
}

QList<buttonAttributes> picker_view::getButtons() const
{
    QList<buttonAttributes> list;
    for (const buttonRecord& r : buttons)
        if (r.selected & 1)
            list.append(r);
    return list;
}

void picker_view::update_label(buttonRecord& r)
{
    make_button_label(r, &r);
    update();
}

void picker_view::refresh()
{
    update();
}

void picker_view::update_toolbox()
{
    if (window)
        window->updateControls();
}

bool picker_view::execute_shortcut(QKeyEvent* e)
{
    if (actions().isEmpty() || !window || window->frontPicker() != this)
        return false;
    if (e->key() == Qt::Key_Escape && cancel_add_many())
        return true;
    // Keys edit the buttons under the pointer: with the pointer elsewhere
    // (say, after a menu closed outside the window) a stray key must not.
    if (!pointer_over())
        return false;
    return trigger_bound(actions(), key_of(e));
}

bool picker_view::pointer_over() const
{
    return isVisible() && rect().contains(mapFromGlobal(QCursor::pos()));
}

void picker_view::signal_changed()
{
    emit changed();
}

void picker_view::addMouseCommand(picker_mouse_cmd* command)
{
    if (mouseCmd && mouseCmd != command)
        delete mouseCmd;
    mouseCmd = command;
}

// ----- Streams

void picker_view::streamTo(QDataStream& out) const
{
    QList<buttonAttributes> list;
    list.reserve(buttons.size());
    for (const buttonRecord& r : buttons)
        list.append(r);
    write_button_list(out, list);
}

void picker_view::streamFrom(QDataStream& in, int version)
{
    reset_buttons();
    read_button_list(in, version, [this](const buttonAttributes& a) { push_button(a, -1); });
    update();
}

// ----- Painting

void picker_view::paintEvent(QPaintEvent* e)
{
    if (!isVisible())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!paint_from_layer(painter, e->rect()))
        draw_canvas(painter, e->rect());
    overlays.draw(painter);
}

void picker_view::draw_canvas(QPainter& painter, const QRect& exposed)
{
    painter.fillRect(exposed, canvas_color);
    if (!background.isNull())
        painter.drawImage(mapToScreen(background.rect()), background.image());
    // The banner lies under the buttons: it never hides one.
    overlays.banner()->draw(painter);
    draw_buttons(painter, exposed);
}

bool picker_view::paint_from_layer(QPainter& painter, const QRect& exposed)
{
    if (!paintCaching)
        return false;
    // Only a plain raster image can take a copy of the picture pixel for
    // pixel; anything else (a printer, a scaled render) is drawn as is.
    QPaintEngine* engine = painter.paintEngine();
    QPaintDevice* device = engine ? engine->paintDevice() : nullptr;
    if (!device || engine->type() != QPaintEngine::Raster || device->devType() != QInternal::Image)
        return false;
    const qreal ratio = device->devicePixelRatioF();
    const QTransform t = painter.deviceTransform();
    if (t.type() > QTransform::TxScale || t.m11() != ratio || t.m22() != ratio || t.dx() != qRound(t.dx())
        || t.dy() != qRound(t.dy()))
        return false;

    paint_layer::view_state state;
    state.size = size();
    state.ratio = ratio;
    state.format = static_cast<QImage*>(device)->format();
    state.zoom = zoom;
    state.shift = shift;
    state.background = background.key();
    if (!layer.current(state, buttons) || layer.image.isNull()) {
        const QSize pixels = (QSizeF(size()) * ratio).toSize();
        if (layer.image.size() != pixels || layer.image.format() != state.format)
            layer.image = QImage(pixels, state.format);
        layer.image.setDevicePixelRatio(ratio);
        QPainter canvas(&layer.image);
        canvas.setRenderHints(painter.renderHints());
        draw_canvas(canvas, rect());
    }
    // A copy, not a blend: Xor labels leave see-through pixels in the picture
    // that a direct paint leaves in the window too.
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    if (ratio == 1)
        painter.drawImage(exposed.topLeft(), layer.image, exposed); // the plain blit
    else
        painter.drawImage(QRectF(exposed), layer.image,
                          QRectF(QPointF(exposed.topLeft()) * ratio, QSizeF(exposed.size()) * ratio));
    painter.restore();
    return true;
}

void picker_view::set_paint_caching(bool on)
{
    // The picture is kept while off: it still knows what it shows, so
    // turning caching on again cannot bring back stale pixels.
    paintCaching = on;
    update();
}

qint64 picker_view::paint_cache_bytes() const
{
    return layer.bytes();
}

void picker_view::draw_buttons(QPainter& painter, const QRect& exposed)
{
    painter.setPen(Qt::NoPen);
    const QRect area = mapToPicker(exposed);
    for (const buttonRecord& r : buttons) {
        if (!r.bounds.intersects(area))
            continue;
        if (r.kind)
            draw_command_button(painter, r);
        else
            draw_one_button(painter, r);
    }
}

void picker_view::draw_one_button(QPainter& painter, const buttonRecord& r)
{
    QColor fill;
    switch (r.selected) {
    case 0: fill = QColor(QRgb(r.color)); break;
    case 1: fill = selected_fill; break;
    default: fill = partial_fill; break;
    }
    QBrush brush(fill);
    QRectF R(mapToScreen(r.bounds));
    // No pen is set here on purpose: a command button drawn earlier in the
    // same paint leaves its thin outline pen, and shapes pick it up.
    if (r.names.size() < 2) {
        painter.fillRect(R, brush);
    } else {
        painter.setBrush(brush);
        const QRectF shape = inside_pen(R, painter.pen());
        if (!r.labelPixmap.isNull()) {
            qreal k = 0.2 * std::min(R.width(), R.height());
            painter.drawRoundedRect(shape, k, k, Qt::AbsoluteSize);
        } else {
            painter.drawEllipse(shape);
        }
    }
    draw_label(painter, r, R.center());
}

void picker_view::draw_command_button(QPainter& painter, const buttonRecord& r)
{
    QRectF R(mapToScreen(r.bounds));
    QColor color = QColor(QRgb(r.color));
    QBrush outline;
    switch (r.selected) {
    case 0: {
        QLinearGradient gradient(R.topLeft(), R.bottomLeft());
        gradient.setColorAt(0.0, color.lighter(150));
        gradient.setColorAt(0.1, color);
        gradient.setColorAt(0.9, color);
        gradient.setColorAt(1.0, color.darker(150));
        painter.setBrush(gradient);
        outline = QBrush(Qt::black);
        break;
    }
    case 1:
        painter.setBrush(color.lighter(150));
        outline = QBrush(Qt::white);
        break;
    default:
        painter.setBrush(partial_fill);
        outline = QBrush(partial_fill);
        break;
    }
    const QPen pen(outline, 0.5, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    qreal k = 0.05 * std::min(R.width(), R.height());
    // The face fills the button's pixels to the edge; the outline is drawn
    // over it, just inside.
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(R, k, k, Qt::AbsoluteSize);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(inside_pen(R, pen), k, k, Qt::AbsoluteSize);
    draw_label(painter, r, R.center());
}

void picker_view::draw_label(QPainter& painter, const buttonRecord& r, const QPointF& centre)
{
    if (r.labelPixmap.isNull())
        return;
    QRect target(0, 0, round_fn(zoom * r.labelPixmap.width()), round_fn(zoom * r.labelPixmap.height()));
    target.moveCenter(QPoint(round_fn(centre.x()), round_fn(centre.y())));
    // A light label on the light selected face would vanish; Xor keeps it readable.
    if (r.kind == 0 && r.selected == 1 && (r.labelColor & 0x808080)) {
        painter.setCompositionMode(QPainter::CompositionMode_Xor);
        r.labelPixmap.draw(painter, QRectF(target));
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    } else {
        r.labelPixmap.draw(painter, QRectF(target));
    }
}

void picker_view::resizeEvent(QResizeEvent* e)
{
    overlays.banner()->resize(e->size().width(), e->size().height());
    QWidget::resizeEvent(e);
}

void picker_view::hideEvent(QHideEvent* e)
{
    // A tab out of sight keeps no picture; showing it again paints once.
    layer.clear();
    QWidget::hideEvent(e);
}
