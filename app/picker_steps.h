// Command-line steps that set the picker window up as a person would, for
// scripted runs and pictures for the docs: its size, and its view's zoom.
#pragma once

#include <QString>

class QWidget;

// "WIDTHxHEIGHT": the picker's window takes that size, as if dragged to it.
void resize_picker(QWidget* main_window, const QString& size);
// The front picker's view zooms to the number given (within its limits),
// keeping the lit buttons, or the whole picker, in the middle of the view.
void zoom_picker(QWidget* main_window, const QString& zoom);
