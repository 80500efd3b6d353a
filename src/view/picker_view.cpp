#include "view/picker_view.h"

#include "model/limits.h"
#include "model/name_ids.h"
#include "model/scene_room.h"
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
#include <cstring>
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
    : QWidget(w), window(w), overlays(this), page_(new picker_page(this))
{
    connect(page_, &picker_page::touched, this, &picker_view::refresh);
    connect(page_, SIGNAL(changed(page_notice)), this, SLOT(page_changed(page_notice)));
    init_picker_resources();
    setMouseTracking(true);
    // Keys go where the animator clicked (or tabbed), never where the pointer rests.
    setFocusPolicy(Qt::StrongFocus);
    // Every paint covers the whole exposed area, so Qt need not clear it first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    make_menu();
    zoomTimer.setSingleShot(false);
    connect(&zoomTimer, SIGNAL(timeout()), this, SLOT(animate_zoom()));
}

picker_view::~picker_view()
{
    // The page outlives this body: what it still says is for no one here.
    page_->disconnect(this);
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
    return page_->any_selected();
}

QRect picker_view::button_bounds(bool selectedOnly) const
{
    QRect united(0, 0, 0, 0);
    bool first = true;
    for (const buttonRecord& r : buttons()) {
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
    page_->set_background(key, picture);
}

void picker_view::change_background()
{
    QString file = QFileDialog::getOpenFileName(this, "Choose Background", QString(),
                                                "Images (*.png *.xpm *.jpg)");
    if (file.isEmpty()) {
        if (background().isNull())
            return;
        auto answer = QMessageBox::question(this, "Background", "Remove current background image?",
                                            QMessageBox::Yes | QMessageBox::Cancel,
                                            QMessageBox::Cancel);
        if (answer != QMessageBox::Yes)
            return;
        setBackground(QString(), png_picture());
        return;
    }
    QString why;
    const png_picture picture = load_image_file(file, &why);
    if (picture.isNull()) {
        QMessageBox::warning(this, "Background", why.left(1).toUpper() + why.mid(1) + '.');
        return;
    }
    if (!window)
        setBackground(QString::number(picture.key()), picture);
    else if (!window->place_background(this, QString::number(picture.key()), picture))
        QMessageBox::warning(this, "Background", QString("The picture was not set: %1.").arg(scene_budget_exceeded()));
}

// ----- Buttons

buttonAttributes picker_view::new_button_at(const QPoint& widgetPos) const
{
    const button_look look = window ? window->toolbox() : button_look();
    return new_button(mapToPicker(widgetPos), look, 0, 0, window ? picker_window::selection() : QStringList());
}

int picker_view::push_button(const buttonAttributes& a, int index)
{
    return page_->insert(a, index);
}

void picker_view::pop_button(int index)
{
    page_->remove(index);
}

void picker_view::reset_buttons()
{
    if (page_->isEmpty())
        return;
    undo.clear();
    page_->clear();
}

void picker_view::set_button_label(int index, const QString& label)
{
    page_->set_label(index, label);
}

void picker_view::set_button_size(int index, int w, int h)
{
    page_->resize(index, w, h);
}

QString picker_view::no_room_for(qint64 more_buttons, qint64 more_names) const
{
    return no_room(window ? window->pages() : QVector<const picker_page*>{page_}, page_, more_buttons, 0, more_names);
}

bool picker_view::conform_to_selection()
{
    return page_->conform_to_selection();
}

bool picker_view::conform_to_selected()
{
    return page_->conform_to_selected();
}

void picker_view::clear_selected()
{
    picker_window::selection_batch batch;
    page_->clear_selected(false);
}

void picker_view::select_list(const QVector<int>& indices, bool quiet)
{
    for (int i : indices)
        if (i >= 0 && i < page_->count())
            page_->select(i, quiet);
}

QList<buttonAttributes> picker_view::getButtons() const
{
    QList<buttonAttributes> list;
    for (const buttonRecord& r : buttons())
        if (r.selected & 1)
            list.append(r);
    return list;
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
    return trigger_bound(actions(), key_of(e));
}

void picker_view::signal_changed()
{
    emit changed();
}

// Files and the scene hear of what they keep; the toolbox of anything but
// a move, which it does not show.
void picker_view::page_changed(const page_notice& notice)
{
    if (notice.fields & page_field::stored)
        emit changed();
    if (notice.fields & ~(page_field::position | page_field::path | page_field::name))
        update_toolbox();
}

void picker_view::addMouseCommand(picker_mouse_cmd* command)
{
    if (mouseCmd && mouseCmd != command)
        delete mouseCmd;
    mouseCmd = command;
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
    draw_ground(painter, exposed);
    draw_buttons(painter, exposed);
}

void picker_view::draw_ground(QPainter& painter, const QRect& exposed)
{
    painter.fillRect(exposed, canvas_color);
    if (!background().isNull())
        painter.drawImage(mapToScreen(background().rect()), background().image());
    // The banner lies under the buttons: it never hides one.
    overlays.banner()->draw(painter);
}

namespace {

// How far past its button a label may be drawn, in picker units.
constexpr int label_slack = limits::max_label_width / 2 + 1;

// A copy of the picture into a plain image, row by row, through the
// painter's own clip: what drawImage does in Source mode, without its
// set-up cost on every frame.
bool blit(QPainter& painter, const QImage& from, const QRect& exposed)
{
    QPaintEngine* engine = painter.paintEngine();
    auto* device = static_cast<QImage*>(engine->paintDevice());
    const QTransform& t = painter.deviceTransform();
    if (painter.hasClipping() || device->format() != from.format() || device->devicePixelRatio() != 1
        || from.devicePixelRatio() != 1 || t.type() > QTransform::TxTranslate)
        return false;
    const QPoint offset(qRound(t.dx()), qRound(t.dy()));
    QRegion region = QRegion(exposed.translated(offset)) & QRegion(device->rect());
    if (!engine->systemClip().isEmpty())
        region &= engine->systemClip();
    const int bpl = device->bytesPerLine();
    uchar* bits = device->bits();
    for (const QRect& r : region) {
        const QRect source = r.translated(-offset) & from.rect();
        for (int y = source.top(); y <= source.bottom(); ++y)
            std::memcpy(bits + (y + offset.y()) * bpl + (source.left() + offset.x()) * 4,
                        from.constScanLine(y) + source.left() * 4, size_t(source.width()) * 4);
    }
    return true;
}

} // namespace

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
    state.ratio = ratio;
    state.format = static_cast<QImage*>(device)->format();
    as_now(state);
    // The buttons are compared only when the page changed since they last were.
    paint_layer::staleness stale = changedButtons.isEmpty() ? paint_layer::staleness::none
                                                            : paint_layer::staleness::some_buttons;
    if (!layer.valid() || !(state == layer.state()) || page_->revision() != comparedRevision)
        stale = layer.compare(state, buttons(), changedButtons);
    comparedRevision = page_->revision();
    if (stale == paint_layer::staleness::some_buttons && !patch_buttons(changedButtons, int(painter.renderHints())))
        stale = paint_layer::staleness::all;
    changedButtons.clear();
    if (stale == paint_layer::staleness::all) {
        const QSize pixels = (QSizeF(size()) * ratio).toSize();
        if (layer.image.size() != pixels || layer.image.format() != state.format)
            layer.image = QImage(pixels, state.format);
        layer.image.setDevicePixelRatio(ratio);
        layer.groundValid = false;
        QPainter canvas(&layer.image);
        canvas.setRenderHints(painter.renderHints());
        draw_canvas(canvas, rect());
        // What a whole paint draws: the buttons it does not cull.
        const QRect shown = mapToPicker(rect());
        QVector<QRect> placed;
        placed.reserve(buttons().size());
        for (const buttonRecord& r : buttons())
            placed.append(r.bounds.intersects(shown) ? reach(r) : QRect());
        layer.index(buttons(), placed, size());
    }
    // A copy, not a blend: Xor labels leave see-through pixels in the picture
    // that a direct paint leaves in the window too.
    if (ratio == 1 && blit(painter, layer.image, exposed))
        return true;
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(QRectF(exposed), layer.image,
                      QRectF(QPointF(exposed.topLeft()) * ratio, QSizeF(exposed.size()) * ratio));
    painter.restore();
    return true;
}

void picker_view::as_now(paint_layer::view_state& state) const
{
    state.size = size();
    state.zoom = zoom;
    state.shift = shift;
    state.background = background().key();
}

QVector<int> picker_view::with_pen_followers(const QVector<int>& changed) const
{
    // A command button's outline pen is the one the shapes after it are
    // stroked with: when it changes, so do they.
    const QList<buttonRecord>& list = buttons();
    QVector<int> dirty;
    for (int i : changed) {
        dirty.append(i);
        if (list.at(i).kind != 1)
            continue;
        for (int k = i + 1; k < list.size() && layer.command_before(k) == i; ++k)
            if (list.at(k).kind == 0 && list.at(k).name_count() >= 2)
                dirty.append(k);
    }
    std::sort(dirty.begin(), dirty.end());
    dirty.erase(std::unique(dirty.begin(), dirty.end()), dirty.end());
    return dirty;
}

void picker_view::refresh()
{
    // While the picture shows this view, only the pixels of the buttons
    // whose look changed are repainted: Qt copies just those to the window.
    // As last painted, on the same device, with what the view shows now.
    paint_layer::view_state now = layer.state();
    as_now(now);
    if (!paintCaching || !isVisible() || !layer.valid()) {
        update();
        return;
    }
    if (now == layer.state() && page_->revision() == comparedRevision)
        return;
    const int before = changedButtons.size();
    const paint_layer::staleness stale = layer.compare(now, buttons(), changedButtons);
    comparedRevision = page_->revision();
    switch (stale) {
    case paint_layer::staleness::none:
        return;
    case paint_layer::staleness::all:
        layer.invalidate();
        update();
        return;
    case paint_layer::staleness::some_buttons:
        break;
    }
    const QRect shown = mapToPicker(rect()).adjusted(-label_slack, -label_slack, label_slack, label_slack);
    QVector<QRect> rects;
    for (int i : with_pen_followers(changedButtons.mid(before)))
        if (buttons().at(i).bounds.intersects(shown))
            rects.append(reach(buttons().at(i)));
    update(tiled_region(rects, rect()));
}

// Each button whose look changed where it stands is laid again, pixel for
// pixel, over the ground under it with every button its pixels meet, in
// list order: the picture then holds what a whole paint would. False where
// the picture is not one a patch can be laid on (a fractional density, a
// format of another depth).
bool picker_view::patch_buttons(const QVector<int>& changed, int hints)
{
    QImage& image = layer.image;
    const int d = qRound(image.devicePixelRatio());
    if (d < 1 || image.devicePixelRatio() != d
        || (image.format() != QImage::Format_ARGB32_Premultiplied && image.format() != QImage::Format_RGB32))
        return false;
    // Widget pixels to the picture's.
    const auto device = [d](const QRect& r) { return QRect(r.topLeft() * d, r.size() * d); };
    const QList<buttonRecord>& list = buttons();
    const QVector<int> dirty = with_pen_followers(changed);
    if (!layer.groundValid) {
        layer.ground = QImage(image.size(), image.format());
        layer.ground.setDevicePixelRatio(d);
        QPainter ground(&layer.ground);
        ground.setRenderHints(QPainter::RenderHints(hints));
        draw_ground(ground, rect());
        layer.groundValid = true;
    }
    const QRect area = rect();
    // Labels reach past their buttons, but only so far: the cull is
    // coarse, the clip exact.
    const QRect shown = mapToPicker(area).adjusted(-label_slack, -label_slack, label_slack, label_slack);
    QVector<int> meeting;
    for (int i : dirty) {
        if (!list.at(i).bounds.intersects(shown))
            continue;
        const QRect r = reach(list.at(i)) & area;
        if (r.isEmpty())
            continue;
        const QRect clip = device(r);
        // A plain button's own fill hides whatever lies under its box.
        const buttonRecord& own = list.at(i);
        const QRect hole = own.kind == 0 && own.names.size() < 2 ? device(mapToScreen(own.bounds)) & clip : QRect();
        if (hole.isEmpty()) {
            pixels::copy(image, layer.ground, clip);
        } else {
            pixels::copy(image, layer.ground, QRect(clip.topLeft(), QPoint(clip.right(), hole.top() - 1)));
            pixels::copy(image, layer.ground, QRect(QPoint(clip.left(), hole.bottom() + 1), clip.bottomRight()));
            pixels::copy(image, layer.ground, QRect(QPoint(clip.left(), hole.top()), QPoint(hole.left() - 1, hole.bottom())));
            pixels::copy(image, layer.ground, QRect(QPoint(hole.right() + 1, hole.top()), QPoint(clip.right(), hole.bottom())));
        }
        layer.buttons_meeting(r, meeting);
        for (int k : meeting) {
            const buttonRecord& b = list.at(k);
            const QRect box = mapToScreen(b.bounds);
            if (b.kind == 0 && b.names.size() < 2) {
                pixels::fill(image, device(box), qPremultiply(fill_of(b)), clip);
            } else if (!box.isEmpty()) {
                const int before = layer.command_before(k);
                const QPen pen = b.kind || before < 0 ? QPen(Qt::NoPen) : outline_pen(list.at(before));
                pixels::blend(image, face_of(b, box.size(), pen, hints, d), box.topLeft() * d, clip);
            }
            const QRect target = label_target(b);
            if (target.isEmpty())
                continue;
            const bool exclusive = b.kind == 0 && b.selected == 1 && (b.labelColor & 0x808080);
            pixels::blend(image, b.labelPixmap.picture_at(target.size() * d, hints), target.topLeft() * d, clip, exclusive);
        }
    }
    return true;
}

void picker_view::set_paint_caching(bool on)
{
    // The picture is kept while off: it still knows what it shows, so
    // turning caching on again cannot bring back stale pixels.
    paintCaching = on;
    update();
}

void picker_view::draw_buttons(QPainter& painter, const QRect& exposed)
{
    painter.setPen(Qt::NoPen);
    const QRect area = mapToPicker(exposed);
    for (const buttonRecord& r : buttons()) {
        if (!r.bounds.intersects(area))
            continue;
        if (r.kind)
            draw_command_button(painter, r);
        else
            draw_one_button(painter, r);
    }
}

namespace {

// Faces are copied where the painter maps each widget pixel to a whole
// number of device pixels (a high-density screen included); anything else
// (a scaled render) draws them. The answer is that number, or 0.
int copies_faces(const QPainter& painter)
{
    const QTransform& t = painter.deviceTransform();
    const int density = qRound(t.m11());
    const bool whole = t.type() <= QTransform::TxScale && density >= 1 && t.m11() == density && t.m22() == density
        && t.dx() == qRound(t.dx()) && t.dy() == qRound(t.dy());
    return whole && painter.compositionMode() == QPainter::CompositionMode_SourceOver && painter.opacity() == 1
        ? density
        : 0;
}

void draw_shape(QPainter& painter, const QRectF& R, bool rounded)
{
    const QRectF shape = inside_pen(R, painter.pen());
    if (rounded) {
        qreal k = 0.2 * std::min(R.width(), R.height());
        painter.drawRoundedRect(shape, k, k, Qt::AbsoluteSize);
    } else {
        painter.drawEllipse(shape);
    }
}

} // namespace

QRgb picker_view::fill_of(const buttonRecord& r)
{
    static const QRgb lit = selected_fill.rgba(), part = partial_fill.rgba();
    // A button's own colour is opaque whatever its top byte holds.
    return r.selected == 0 ? QRgb(r.color) | 0xff000000u : r.selected == 1 ? lit : part;
}

const QImage& picker_view::face_of(const buttonRecord& r, const QSize& size, const QPen& pen, int hints, int density)
{
    face_cache::key k;
    k.size = size * density;
    if (r.kind) {
        k.fill = r.color;
        k.shape = face_cache::command;
        k.selected = r.selected;
    } else {
        k.fill = fill_of(r);
        k.outline = pen.style() == Qt::NoPen ? 0 : pen.color().rgba();
        k.shape = r.labelPixmap.isNull() ? face_cache::ellipse : face_cache::rounded;
    }
    if (const QImage* face = faces.find(k))
        return *face;
    // Drawn at the density it is copied at, as a direct paint would draw it.
    QImage image(k.size, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(density);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHints(QPainter::RenderHints(hints));
    const QRectF at(QPointF(0, 0), QSizeF(size));
    if (r.kind) {
        draw_command_face(p, at, r);
    } else {
        p.setPen(pen);
        p.setBrush(QColor::fromRgba(fill_of(r)));
        draw_shape(p, at, k.shape == face_cache::rounded);
    }
    p.end();
    return faces.keep(k, std::move(image));
}

void picker_view::draw_one_button(QPainter& painter, const buttonRecord& r)
{
    const QColor fill = QColor::fromRgba(fill_of(r));
    const QRect box = mapToScreen(r.bounds);
    // No pen is set here on purpose: a command button drawn earlier in the
    // same paint leaves its thin outline pen, and shapes pick it up.
    if (r.names.size() < 2) {
        painter.fillRect(QRectF(box), QBrush(fill));
    } else if (const int density = box.isEmpty() ? 0 : copies_faces(painter)) {
        painter.drawImage(box.topLeft(), face_of(r, box.size(), painter.pen(), int(painter.renderHints()), density));
    } else {
        painter.setBrush(fill);
        draw_shape(painter, QRectF(box), !r.labelPixmap.isNull());
    }
    draw_label(painter, r);
}

// Where patches apply, faces are copied at whole pixels and labels laid
// at their targets: nothing is drawn past the box and the label.
QRect picker_view::reach(const buttonRecord& r) const
{
    return mapToScreen(r.bounds) | label_target(r);
}

QPen picker_view::outline_pen(const buttonRecord& r)
{
    const QBrush outline = r.selected == 0 ? QBrush(Qt::black) : r.selected == 1 ? QBrush(Qt::white)
                                                                                 : QBrush(partial_fill);
    return QPen(outline, 0.5, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
}

void picker_view::draw_command_button(QPainter& painter, const buttonRecord& r)
{
    const QRect box = mapToScreen(r.bounds);
    const QPen pen = outline_pen(r);
    if (const int density = box.isEmpty() ? 0 : copies_faces(painter)) {
        painter.drawImage(box.topLeft(), face_of(r, box.size(), pen, int(painter.renderHints()), density));
    } else {
        draw_command_face(painter, QRectF(box), r);
    }
    // The outline pen stays set: shapes drawn after pick it up.
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    draw_label(painter, r);
}

void picker_view::draw_command_face(QPainter& painter, const QRectF& R, const buttonRecord& r)
{
    QColor color = QColor(QRgb(r.color));
    switch (r.selected) {
    case 0: {
        QLinearGradient gradient(R.topLeft(), R.bottomLeft());
        gradient.setColorAt(0.0, color.lighter(150));
        gradient.setColorAt(0.1, color);
        gradient.setColorAt(0.9, color);
        gradient.setColorAt(1.0, color.darker(150));
        painter.setBrush(gradient);
        break;
    }
    case 1:
        painter.setBrush(color.lighter(150));
        break;
    default:
        painter.setBrush(partial_fill);
        break;
    }
    const QPen pen = outline_pen(r);
    qreal k = 0.05 * std::min(R.width(), R.height());
    // The face fills the button's pixels to the edge; the outline is drawn
    // over it, just inside.
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(R, k, k, Qt::AbsoluteSize);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(inside_pen(R, pen), k, k, Qt::AbsoluteSize);
}

QRect picker_view::label_target(const buttonRecord& r) const
{
    if (r.labelPixmap.isNull())
        return QRect();
    const QPointF centre = QRectF(mapToScreen(r.bounds)).center();
    QRect target(0, 0, round_fn(zoom * r.labelPixmap.width()), round_fn(zoom * r.labelPixmap.height()));
    target.moveCenter(QPoint(round_fn(centre.x()), round_fn(centre.y())));
    return target;
}

void picker_view::draw_label(QPainter& painter, const buttonRecord& r)
{
    if (r.labelPixmap.isNull())
        return;
    const QRect target = label_target(r);
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
