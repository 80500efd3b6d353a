// A small popup palette of colour cells; the cell under the pointer is
// tracked and chosen by a press or release once the popup is armed.
#pragma once

#include <QColor>
#include <QPoint>
#include <QRgb>
#include <QSize>
#include <QVector>
#include <QWidget>

// Squared distance of the RGB parts; alpha is ignored.
unsigned int distance_fn(const QColor& a, const QColor& b);

class picker_colorMenu : public QWidget {
    Q_OBJECT

public:
    picker_colorMenu(const QVector<unsigned int>& colors, int columns, int cellSize, QWidget* parent = nullptr);

    // Open the palette (72 colours, black and white among them) for a
    // button's colour or its label's, with the current colour under the
    // pointer; the choice goes to the receiver's set_button_color(QRgb) or
    // set_label_color(QRgb).
    static picker_colorMenu* execute_color(QObject* receiver, const QPoint& globalPos, QColor* current);
    static picker_colorMenu* execute_label_color(QObject* receiver, const QPoint& globalPos, QColor* current);

    static QVector<unsigned int> color_palette();

    int findColorIndex(const QColor& color) const;
    int positionToIndex(const QPoint& p) const;
    QPoint indexToPosition(int i) const;
    void setTracking(int i);
    int tracking() const { return tracked; }
    bool isArmed() const { return armed; }

signals:
    void colorChanged(QRgb color);

protected:
    void paintEvent(QPaintEvent* e) override;
    void mouseMoveEvent(QMouseEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;

private:
    static picker_colorMenu* open(const QVector<unsigned int>& colors, int columns, QObject* receiver,
                                  const char* slot, const QPoint& globalPos, QColor* current);
    void choose();

    QVector<unsigned int> colors;
    int columns;
    int rows;
    int cellSize;
    int spacing = 2;
    int tracked = -1;
    QPoint lastPos;
    QColor highlight = QColor(0, 182, 255, 255);
    QSize widgetSize;
    bool armed = false;
};
