#include "view/picker_view.h"

#include "model/button_outline.h"
#include "model/limits.h"
#include "model/name_ids.h"
#include "model/scene_room.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"
#include "view/paint_cache.h"
#include "edit/property_commands.h"
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
#include <QPainterPath>
#include <QResizeEvent>
#include <QVarLengthArray>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
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
// Hatching over a button whose objects are missing, and the dark rim of a
// selection ring.
const QColor missing_hatch(0, 0, 0, 140);
const QColor ring_rim(0, 0, 0, 190);
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

picker_view::picker_view(picker_window* w, picker_page* page)
    : QWidget(w), window(w), overlays(this), page_(page ? page : new picker_page(this))
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
    frame_whole(true);
    update();
}

void picker_view::zoom_to(double z)
{
    // The buttons whose objects are all selected: every other button sharing
    // one of them shows lit too.
    QRect around;
    for (const buttonRecord& r : buttons())
        if (r.selected == 1)
            around |= r.bounds;
    if (around.isEmpty())
        around = whole_bounds();
    zoomTimer.stop();
    zoom = std::min(std::max(z, min_zoom), max_zoom);
    if (!around.isEmpty()) {
        const QRect open = open_area();
        const QPointF centre = QRectF(around).center() * zoom;
        shift = QPoint(qRound(open.left() + open.width() / 2.0 - centre.x()),
                       qRound(open.top() + open.height() / 2.0 - centre.y()));
    }
    update();
}

QRect picker_view::whole_bounds() const
{
    QRect bounds = button_bounds(false);
    if (!background().isNull())
        bounds = buttons().isEmpty() ? background().rect() : (bounds | background().rect());
    return bounds;
}

void picker_view::frame_whole(bool animated)
{
    // Nearly the whole open area: the picker as large as it fits.
    fit_bounds(whole_bounds(), 0.95, false, animated);
    wholeZoom = animating() ? double(interpolate.endZoom) : zoom;
    wholeShift = animating() ? interpolate.endShift : shift;
}

bool picker_view::shows_whole() const
{
    if (animating())
        return double(interpolate.endZoom) == wholeZoom && interpolate.endShift == wholeShift;
    return zoom == wholeZoom && shift == wholeShift;
}

QRect picker_view::open_area() const
{
    // The banner lies over the bottom of the view; framing keeps clear of it
    // unless it would leave too little.
    QRect area = rect();
    const int covered = overlays.banner()->rect.isEmpty() ? 0 : overlays.banner()->rect.height();
    if (covered < area.height() / 2)
        area.setHeight(area.height() - covered);
    return area;
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
    fit_bounds(r, 0.75, noZoomIn, animated);
}

void picker_view::fit_bounds(const QRect& r, double fill, bool noZoomIn, bool animated)
{
    if (r.isEmpty())
        return;
    const QRect open = open_area();
    float sx = float(fill) * (float(open.width()) / float(r.width()));
    float sy = float(fill) * (float(open.height()) / float(r.height()));
    float z = limitZoom(sx < sy ? sx : sy);
    if (noZoomIn && double(z) > zoom)
        z = float(zoom);
    QPoint c = r.center();
    QPoint target(int(float(open.left() + open.width() / 2) - z * float(c.x())),
                  int(float(open.top() + open.height() / 2) - z * float(c.y())));
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

void picker_view::choose_button_picture()
{
    if (!page_->any_target())
        return;
    const QString file = QFileDialog::getOpenFileName(this, "Choose Button Picture", QString(), "PNG Images (*.png)");
    if (file.isEmpty())
        return;
    QString why;
    const png_picture picture = load_button_picture(file, &why);
    if (!picture.isNull() && !pictures_fit({picture}))
        why = QString("the picture was not set: %1").arg(scene_budget_exceeded());
    if (!why.isEmpty()) {
        QMessageBox::warning(this, "Button Picture", why.at(0).toUpper() + why.mid(1) + '.');
        return;
    }
    undo.push(new change_picture_cmd(page_, picture));
}

void picker_view::set_shape(qint32 shape)
{
    // A choice that changes nothing leaves no step to undo.
    const QVector<int> rows = page_->target_rows();
    if (std::any_of(rows.begin(), rows.end(), [&](int row) { return buttons().at(row).shape != shape; }))
        undo.push(new change_shape_cmd(page_, shape));
}

void picker_view::remove_button_picture()
{
    if (page_->any_target())
        undo.push(new change_picture_cmd(page_, png_picture()));
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

bool picker_view::pictures_fit(const QList<png_picture>& more) const
{
    QList<png_picture> all = window ? window->scene_pictures() : button_pictures(page_->buttons());
    if (!window)
        all << page_->background();
    return within_scene_budget(all + more);
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
    for (int row : page_->target_rows())
        list.append(buttons().at(row));
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
    if (window && (notice.fields & (page_field::binding | page_field::layout)))
        window->check_objects_later();
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
}

namespace {

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

// Picker units around the widget rectangle that a button may stand in and
// still reach it with its selection ring.
QRect picker_view::ring_cull(const QRect& widget) const
{
    const int out = ring_reach();
    return mapToPicker(widget.adjusted(-out, -out, out, out));
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
        const QRect shown = ring_cull(rect());
        QVector<QRect> placed;
        placed.reserve(buttons().size());
        for (const buttonRecord& r : buttons())
            placed.append(r.bounds.intersects(shown) ? reach(r) : QRect());
        layer.index(buttons(), placed, size());
    }
    // A copy, not a blend: the picture is what the window shows.
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
    paint_layer::changes found;
    const paint_layer::staleness stale = layer.compare(now, buttons(), found);
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
    changedButtons.add(found);
    QVector<QRect> rects;
    for (const patch_area& a : patch_areas(found))
        for (const QRect& clip : a.clips)
            rects.append(clip);
    update(tiled_region(rects, rect()));
}

QVector<picker_view::patch_area> picker_view::patch_areas(const paint_layer::changes& changed) const
{
    // Rings reach past their buttons, but only so far: the cull is coarse,
    // the clip exact.
    const QRect shown = ring_cull(rect());
    QVector<patch_area> areas;
    areas.reserve(changed.size());
    for (int i : with_pen_followers(changed.buttons)) {
        const buttonRecord& r = buttons().at(i);
        if (r.bounds.intersects(shown)) {
            areas.append({reach(r), {}, plain(r) ? mapToScreen(r.bounds) : QRect(), -1});
            areas.last().clips << reach(r);
        }
    }
    const int rings = changed.rings.size();
    for (int n = 0; n < rings + changed.lit.size(); ++n) {
        const int i = n < rings ? changed.rings.at(n) : changed.lit.at(n - rings);
        const buttonRecord& r = buttons().at(i);
        if (!r.bounds.intersects(shown))
            continue;
        // Around a box, not over it: the four sides of its ring, with the
        // box's edge pixels, which the ring's smoothing may touch; unless the
        // box is too small for that to spare anything.
        const QRect box = mapToScreen(r.bounds).adjusted(1, 1, -1, -1), out = reach(r);
        patch_area a{out, {}, QRect(), n < rings ? -1 : i};
        if (box.width() > 4 * ring_reach() && box.height() > 2 * ring_reach())
            a.clips << QRect(out.topLeft(), QPoint(out.right(), box.top() - 1))
                    << QRect(QPoint(out.left(), box.bottom() + 1), out.bottomRight())
                    << QRect(QPoint(out.left(), box.top()), QPoint(box.left() - 1, box.bottom()))
                    << QRect(QPoint(box.right() + 1, box.top()), QPoint(out.right(), box.bottom()));
        else
            a.clips << out;
        areas.append(a);
    }
    return areas;
}

// Each button whose look changed where it stands is laid again, pixel for
// pixel, over the ground under it with every button its pixels meet, in
// list order, and then their selection rings: the picture then holds what a
// whole paint would. False where the picture is not one a patch can be laid
// on (a fractional density, a format of another depth).
bool picker_view::patch_buttons(const paint_layer::changes& changed, int hints)
{
    QImage& image = layer.image;
    const int d = qRound(image.devicePixelRatio());
    if (d < 1 || image.devicePixelRatio() != d
        || (image.format() != QImage::Format_ARGB32_Premultiplied && image.format() != QImage::Format_RGB32))
        return false;
    // Widget pixels to the picture's.
    const auto device = [d](const QRect& r) { return QRect(r.topLeft() * d, r.size() * d); };
    const QList<buttonRecord>& list = buttons();
    if (!layer.groundValid) {
        layer.ground = QImage(image.size(), image.format());
        layer.ground.setDevicePixelRatio(d);
        QPainter ground(&layer.ground);
        ground.setRenderHints(QPainter::RenderHints(hints));
        draw_ground(ground, rect());
        layer.groundValid = true;
    }
    const QRect area = rect();
    QVarLengthArray<QRect, 4> clips;
    const auto clip_to_view = [&](const patch_area& a) {
        clips.clear();
        for (const QRect& c : a.clips)
            if (!(c & area).isEmpty())
                clips.append(device(c & area));
    };
    // A ring lit where no other ring reaches is only laid over what is
    // there, before anything else is laid again (which lays it too).
    QVector<patch_area> areas = patch_areas(changed);
    // The buttons meeting each area, one after the other.
    QVector<int> met, starts(1, 0), meeting;
    for (int n = 0; n < areas.size(); ++n) {
        patch_area& a = areas[n];
        layer.buttons_meeting(a.area & area, meeting);
        met += meeting;
        starts.append(met.size());
        if (a.lit < 0)
            continue;
        bool alone = true;
        for (int k : std::as_const(meeting))
            alone = alone && (k == a.lit || !list.at(k).selected);
        if (!alone)
            continue;
        const buttonRecord& b = list.at(a.lit);
        const QRect box = mapToScreen(b.bounds);
        clip_to_view(a);
        if (!box.isEmpty()) {
            const QImage& ring = ring_of(b, box.size(), hints, d);
            for (const QRect& clip : std::as_const(clips))
                pixels::blend(image, ring, ring_origin(box) * d, clip);
        }
        a.clips.clear();
    }
    for (int n = 0; n < areas.size(); ++n) {
        const patch_area& changedArea = areas.at(n);
        const QRect r = changedArea.area & area;
        if (r.isEmpty() || changedArea.clips.isEmpty())
            continue;
        const int* first = met.constData() + starts.at(n);
        const int* last = met.constData() + starts.at(n + 1);
        clip_to_view(changedArea);
        // A plain button's own fill hides whatever lies under its box.
        for (const QRect& clip : std::as_const(clips)) {
            const QRect hole = changedArea.plain.isEmpty() ? QRect() : device(changedArea.plain) & clip;
            if (hole.isEmpty()) {
                pixels::copy(image, layer.ground, clip);
                continue;
            }
            pixels::copy(image, layer.ground, QRect(clip.topLeft(), QPoint(clip.right(), hole.top() - 1)));
            pixels::copy(image, layer.ground, QRect(QPoint(clip.left(), hole.bottom() + 1), clip.bottomRight()));
            pixels::copy(image, layer.ground, QRect(QPoint(clip.left(), hole.top()), QPoint(hole.left() - 1, hole.bottom())));
            pixels::copy(image, layer.ground, QRect(QPoint(hole.right() + 1, hole.top()), QPoint(clip.right(), hole.bottom())));
        }
        for (const int* k = first; k != last; ++k) {
            const buttonRecord& b = list.at(*k);
            const QRect box = mapToScreen(b.bounds);
            // A neighbour may meet the clips with its ring alone, and a box
            // with its edge alone, where its label never reaches.
            bool edge = false, inner = false;
            for (const QRect& clip : std::as_const(clips)) {
                edge = edge || clip.intersects(device(box));
                inner = inner || clip.intersects(device(box.adjusted(1, 1, -1, -1)));
            }
            if (!edge)
                continue;
            if (plain(b)) {
                const QRgb fill = qPremultiply(fill_of(b));
                for (const QRect& clip : std::as_const(clips))
                    pixels::fill(image, device(box), fill, clip);
            } else if (!box.isEmpty()) {
                const int before = layer.command_before(*k);
                const QPen pen = b.kind || before < 0 || b.name_count() < 2 ? QPen(Qt::NoPen)
                                                                           : outline_pen(list.at(before));
                const QImage& face = face_of(b, box.size(), pen, hints, d);
                for (const QRect& clip : std::as_const(clips))
                    pixels::blend(image, face, box.topLeft() * d, clip);
            }
            if (b.labelPixmap.isNull() || !inner)
                continue;
            const QRect room = label_room(box, b);
            if (room.isEmpty())
                continue;
            const QImage& label = b.labelPixmap.drawn_at(room.size(), zoom, d);
            if (label.isNull())
                continue;
            const QPoint at = label_origin(room, label, d) * d;
            for (const QRect& clip : std::as_const(clips))
                pixels::blend(image, label, at, clip);
        }
        for (const int* k = first; k != last; ++k) {
            const buttonRecord& b = list.at(*k);
            const QRect box = mapToScreen(b.bounds);
            if (!b.selected || box.isEmpty())
                continue;
            const QImage& ring = ring_of(b, box.size(), hints, d);
            for (const QRect& clip : std::as_const(clips))
                pixels::blend(image, ring, ring_origin(box) * d, clip);
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
    // Every button that reaches the exposed area, its ring included: a
    // command button just outside it still passes its pen on, as patches
    // expect.
    const QRect area = ring_cull(exposed);
    for (const buttonRecord& r : buttons()) {
        if (!r.bounds.intersects(area))
            continue;
        if (r.kind == command_kind)
            draw_command_button(painter, r);
        else
            draw_one_button(painter, r);
    }
    // Over every button, so that a lit one shows whatever lies beside it.
    for (const buttonRecord& r : buttons())
        if (r.selected && r.bounds.intersects(area))
            draw_ring(painter, r);
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

void draw_shape(QPainter& painter, const QRectF& R, const buttonAttributes& r)
{
    const QRectF shape = inside_pen(R, painter.pen());
    switch (button_shape(r.shape)) {
    case button_shape::rounded: {
        const qreal k = rounded_radius(R, r);
        painter.drawRoundedRect(shape, k, k, Qt::AbsoluteSize);
        break;
    }
    case button_shape::ellipse:
        painter.drawEllipse(shape);
        break;
    default:
        painter.drawPath(button_outline(shape, r));
        break;
    }
}

// The picture fitted to the box keeping its proportions, centred, and cut
// to the outline clicks are tested against.
void draw_picture(QPainter& painter, const QRectF& R, const buttonAttributes& r)
{
    if (r.picture.isNull() || R.isEmpty())
        return;
    const QSizeF fitted = QSizeF(r.picture.size()).scaled(R.size(), Qt::KeepAspectRatio);
    const QRectF at(R.center() - QPointF(fitted.width(), fitted.height()) / 2, fitted);
    painter.save();
    painter.setClipPath(button_outline(R, r), Qt::IntersectClip);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(at, r.picture.image());
    painter.restore();
}

// Diagonal hatching over the shape: its objects are not in the scene.
void hatch(QPainter& painter, const QRectF& R, const buttonAttributes& r)
{
    painter.save();
    painter.setClipPath(button_outline(R, r), Qt::IntersectClip);
    painter.setPen(QPen(missing_hatch, 1.5));
    painter.setBrush(Qt::NoBrush);
    const qreal step = 5;
    for (qreal x = R.left() - R.height(); x < R.right(); x += step)
        painter.drawLine(QPointF(x, R.bottom()), QPointF(x + R.height(), R.top()));
    painter.restore();
}

} // namespace

QRgb picker_view::fill_of(const buttonRecord& r)
{
    // A button's own colour is opaque whatever its top byte holds; one whose
    // objects are missing is dimmed towards the canvas.
    const QRgb own = QRgb(r.color) | 0xff000000u;
    if (!(r.missing && names_scene_objects(r.kind)))
        return own;
    const QRgb under = canvas_color.rgb();
    return qRgb((qRed(own) + qRed(under)) / 2, (qGreen(own) + qGreen(under)) / 2, (qBlue(own) + qBlue(under)) / 2);
}

bool picker_view::plain(const buttonRecord& r)
{
    return r.kind == 0 && r.name_count() < 2 && !r.missing && r.shape == qint32(button_shape::rectangle)
        && r.picture.isNull();
}

int picker_view::shape_of(const buttonRecord& r)
{
    return (r.shape + 1) | (r.kind == command_kind ? face_cache::command : 0);
}

const QImage& picker_view::face_of(const buttonRecord& r, const QSize& size, const QPen& pen, int hints, int density)
{
    face_cache::key k;
    k.size = size * density;
    k.shape = quint8(shape_of(r));
    if (r.shape == qint32(button_shape::polygon))
        k.points = r.points;
    k.picture = r.picture.key();
    if (r.kind == command_kind) {
        k.fill = r.color;
        k.selected = r.selected;
    } else {
        k.fill = fill_of(r);
        k.outline = pen.style() == Qt::NoPen ? 0 : pen.color().rgba();
        k.missing = r.missing;
    }
    if (r.kind == attribute_kind) {
        k.widget = qint16(r.widget);
        for (int i = 0; i < 2; ++i)
            k.at[i] = std::isnan(r.value[i]) ? qint16(-1) : qint16(std::lround(value_fraction(r, i, r.value[i]) * 4096));
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
    if (r.kind == command_kind) {
        draw_command_face(p, at, r);
    } else {
        p.setPen(pen);
        draw_selection_face(p, at, r);
    }
    p.end();
    return faces.keep(k, std::move(image));
}

void picker_view::draw_selection_face(QPainter& painter, const QRectF& R, const buttonRecord& r)
{
    const QColor fill = QColor::fromRgba(fill_of(r));
    if (r.shape == qint32(button_shape::rectangle))
        painter.fillRect(R, fill);
    else {
        painter.setBrush(fill);
        draw_shape(painter, R, r);
    }
    draw_picture(painter, R, r);
    if (r.kind == attribute_kind)
        draw_widget(painter, R, r);
    if (r.missing)
        hatch(painter, R, r);
}

// An attribute button's widget over its face: a slider's track filled to
// its value with a handle there, a pad's cross hairs meeting at its two
// values, a switch's box filled by its steps. A value not known shows no
// handle.
void picker_view::draw_widget(QPainter& painter, const QRectF& R, const buttonRecord& r)
{
    painter.save();
    painter.setPen(Qt::NoPen);
    const QColor face = QColor::fromRgba(fill_of(r));
    const QColor track = face.darker(170), lit = face.lighter(190), handle = QColor(245, 245, 245);
    const bool known = r.value_known();
    const qreal inset = std::max<qreal>(1, std::min(R.width(), R.height()) * 0.15);
    const QRectF inner = R.adjusted(inset, inset, -inset, -inset);
    switch (attribute_widget(r.widget)) {
    case attribute_widget::slider: {
        const bool upright = r.height > r.width;
        const qreal thick = std::max<qreal>(2, (upright ? inner.width() : inner.height()) * 0.3);
        const QRectF line = upright ? QRectF(inner.center().x() - thick / 2, inner.top(), thick, inner.height())
                                    : QRectF(inner.left(), inner.center().y() - thick / 2, inner.width(), thick);
        painter.fillRect(line, track);
        if (!known)
            break;
        const qreal f = value_fraction(r, 0, r.value[0]);
        const qreal grip = std::max<qreal>(3, thick);
        if (upright) {
            const qreal y = inner.bottom() - f * inner.height();
            painter.fillRect(QRectF(line.left(), y, line.width(), inner.bottom() - y), lit);
            painter.fillRect(QRectF(inner.left(), y - grip / 2, inner.width(), grip), handle);
        } else {
            const qreal x = inner.left() + f * inner.width();
            painter.fillRect(QRectF(inner.left(), line.top(), x - inner.left(), line.height()), lit);
            painter.fillRect(QRectF(x - grip / 2, inner.top(), grip, inner.height()), handle);
        }
        break;
    }
    case attribute_widget::slider2d: {
        painter.fillRect(inner, track);
        if (!known)
            break;
        const qreal x = inner.left() + value_fraction(r, 0, r.value[0]) * inner.width();
        const qreal y = inner.bottom() - value_fraction(r, 1, r.value[1]) * inner.height();
        painter.fillRect(QRectF(inner.left(), y - 0.5, inner.width(), 1), lit);
        painter.fillRect(QRectF(x - 0.5, inner.top(), 1, inner.height()), lit);
        const qreal grip = std::max<qreal>(4, std::min(inner.width(), inner.height()) * 0.12);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(handle);
        painter.drawEllipse(QPointF(x, y), grip / 2, grip / 2);
        break;
    }
    case attribute_widget::checkbox: {
        painter.fillRect(inner, track);
        if (!known)
            break;
        const qreal f = value_fraction(r, 0, r.value[0]);
        if (f > 0) {
            const qreal gap = std::max<qreal>(1, inset / 2);
            const QRectF on = inner.adjusted(gap, gap, -gap, -gap);
            painter.fillRect(QRectF(on.left(), on.top(), on.width() * f, on.height()), lit);
        }
        break;
    }
    }
    painter.restore();
}

void picker_view::draw_one_button(QPainter& painter, const buttonRecord& r)
{
    const QRect box = mapToScreen(r.bounds);
    // No pen is set here on purpose: a command button drawn earlier in the
    // same paint leaves its thin outline pen, and shapes pick it up.
    const QPen pen = r.name_count() < 2 || r.kind == attribute_kind ? QPen(Qt::NoPen) : painter.pen();
    if (plain(r)) {
        painter.fillRect(QRectF(box), QColor::fromRgba(fill_of(r)));
    } else if (const int density = box.isEmpty() ? 0 : copies_faces(painter)) {
        painter.drawImage(box.topLeft(), face_of(r, box.size(), pen, int(painter.renderHints()), density));
    } else {
        const QPen carried = painter.pen();
        painter.setPen(pen);
        draw_selection_face(painter, QRectF(box), r);
        painter.setPen(carried);
    }
    draw_label(painter, r);
}

// Where patches apply, faces are copied at whole pixels and labels and rings
// laid at their places: nothing is drawn past the box and its ring.
QRect picker_view::reach(const buttonRecord& r) const
{
    const int out = ring_reach();
    return mapToScreen(r.bounds).adjusted(-out, -out, out, out);
}

QPen picker_view::outline_pen(const buttonRecord& r)
{
    const QBrush outline = r.selected == 1 ? QBrush(Qt::white) : QBrush(Qt::black);
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
    if (r.selected == 1) {
        // Pressed.
        painter.setBrush(color.lighter(150));
    } else {
        QLinearGradient gradient(R.topLeft(), R.bottomLeft());
        gradient.setColorAt(0.0, color.lighter(150));
        gradient.setColorAt(0.1, color);
        gradient.setColorAt(0.9, color);
        gradient.setColorAt(1.0, color.darker(150));
        painter.setBrush(gradient);
    }
    const QPen pen = outline_pen(r);
    // The face fills the button's pixels to the edge; the outline is drawn
    // over it, just inside.
    painter.setPen(Qt::NoPen);
    if (r.shape == qint32(button_shape::rectangle))
        painter.drawRect(R);
    else
        draw_shape(painter, R, r);
    draw_picture(painter, R, r);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    draw_shape(painter, R, r);
}

QPoint picker_view::label_origin(const QRect& box, const QImage& label, int density)
{
    const QSize size = label.size() / density;
    return box.topLeft() + QPoint((box.width() - size.width()) / 2, (box.height() - size.height()) / 2);
}

void picker_view::draw_label(QPainter& painter, const buttonRecord& r)
{
    const QRect box = label_room(mapToScreen(r.bounds), r);
    if (r.labelPixmap.isNull() || box.isEmpty())
        return;
    if (const int density = copies_faces(painter)) {
        const QImage& label = r.labelPixmap.drawn_at(box.size(), zoom, density);
        if (!label.isNull())
            painter.drawImage(label_origin(box, label, density), label);
        return;
    }
    // A scaled paint (a print, a preview) gets the text drawn for the
    // nearest whole density above its own, brought down to size.
    const QTransform& t = painter.deviceTransform();
    const qreal scale = std::max(std::hypot(t.m11(), t.m12()), std::hypot(t.m21(), t.m22()));
    const int density = std::max(1, int(std::ceil(scale - 1e-9)));
    const QImage& label = r.labelPixmap.drawn_at(box.size(), zoom, density);
    if (!label.isNull())
        painter.drawImage(QRectF(label_origin(box, label, density), QSizeF(label.size()) / density), label);
}

QPoint picker_view::ring_origin(const QRect& box) const
{
    return box.topLeft() - QPoint(ring_reach(), ring_reach());
}

// A lit button is ringed by a white band outside its edge, so that its own
// colour shows whole, and a dark line on its edge pixels, which marks it on
// a light ground too; the band is unbroken when all its objects are
// selected and dashed when some are.
void picker_view::draw_ring_shape(QPainter& painter, const QRectF& R, const buttonRecord& r)
{
    const qreal band = ring_reach();
    painter.save();
    painter.setBrush(Qt::NoBrush);
    if (r.shape == qint32(button_shape::polygon)) {
        // A polygon is not grown: its edge is stroked twice as wide as the
        // band, the outer half kept for the band, the inner for the rim.
        const QPainterPath edge = button_outline(R, r);
        QPainterPath around;
        around.addRect(R.adjusted(-2 * band, -2 * band, 2 * band, 2 * band));
        painter.save();
        painter.setClipPath(edge, Qt::IntersectClip);
        painter.setPen(QPen(ring_rim, 2.0, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin));
        painter.drawPath(edge);
        painter.restore();
        painter.setClipPath(around.subtracted(edge), Qt::IntersectClip);
        QPen pen(Qt::white, 2 * band, Qt::SolidLine, Qt::FlatCap, Qt::RoundJoin);
        if (r.selected != 1)
            pen.setDashPattern({1.5 / band, 1.25 / band});
        painter.setPen(pen);
        painter.drawPath(edge);
        painter.restore();
        return;
    }
    painter.setPen(QPen(ring_rim, 1.0));
    painter.drawPath(button_outline(R, r, -0.5));
    QPen pen(Qt::white, band, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
    if (r.selected != 1)
        pen.setDashPattern({3.0 / band, 2.5 / band});
    painter.setPen(pen);
    painter.drawPath(button_outline(R, r, band / 2));
    painter.restore();
}

const QImage& picker_view::ring_of(const buttonRecord& r, const QSize& size, int hints, int density)
{
    const int out = ring_reach();
    face_cache::key k;
    k.size = size * density;
    k.shape = quint8(face_cache::ring | shape_of(r));
    if (r.shape == qint32(button_shape::polygon))
        k.points = r.points;
    k.selected = r.selected == 1 ? 1 : 2;
    k.outline = quint32(out);
    if (const QImage* ring = faces.find(k))
        return *ring;
    const QSize whole = size + QSize(2 * out, 2 * out);
    QImage image(whole * density, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(density);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHints(QPainter::RenderHints(hints));
    draw_ring_shape(p, QRectF(QPointF(out, out), QSizeF(size)), r);
    p.end();
    return faces.keep(k, std::move(image));
}

void picker_view::draw_ring(QPainter& painter, const buttonRecord& r)
{
    const QRect box = mapToScreen(r.bounds);
    if (box.isEmpty())
        return;
    if (const int density = copies_faces(painter))
        painter.drawImage(ring_origin(box), ring_of(r, box.size(), int(painter.renderHints()), density));
    else
        draw_ring_shape(painter, QRectF(box), r);
}

void picker_view::resizeEvent(QResizeEvent* e)
{
    const bool whole = shows_whole();
    overlays.banner()->resize(e->size().width(), e->size().height());
    QWidget::resizeEvent(e);
    // A picker shown whole stays whole as its panel is resized, until the
    // animator zooms or pans.
    if (whole)
        frame_whole(false);
}

void picker_view::hideEvent(QHideEvent* e)
{
    // A tab out of sight keeps no picture; showing it again paints once.
    layer.clear();
    QWidget::hideEvent(e);
}
