// What every harness shares: a headless application made once, and a view
// that takes whatever buttons an input produced, so labels get rendered.
#pragma once

#include "model/button_model.h"
#include "model/png_picture.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstddef>
#include <cstdint>

class QTemporaryDir;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

// Creates the QApplication (offscreen) on first use, with settings, home and
// working directory in a private temporary folder so nothing outside it is
// written. Returns that folder.
QString start_application();

// The input as bytes, without copying.
inline QByteArray bytes(const std::uint8_t* data, std::size_t size)
{
    return QByteArray::fromRawData(reinterpret_cast<const char*>(data), int(size));
}

// Puts the buttons (and the background, when given) on a fresh view and
// paints it once: the same path a tab takes when it shows what was read.
void show_on_view(const QVector<buttonAttributes>& buttons, const QString& key = QString(),
                  const png_picture& background = png_picture());

} // namespace fuzz
