#include "window/picker_window.h"

picker_window::picker_window(QWidget* parent) : QWidget(parent) {}

picker_window::~picker_window() = default;
