// Text helpers shared by the value type, the lexer and the built-ins.
#pragma once

#include "sandbox/mel.h"

namespace mel::detail {

// MEL prints floats with up to 10 significant digits and no trailing zeros.
QString format_float(double v);

// Lenient numeric prefix: "12abc" -> 12, "-3.5e2x" -> -350, "abc" -> 0.
// *is_float tells whether the prefix had a fraction or an exponent.
double leading_number(const QString& text, bool* is_float = nullptr);

// Truncates towards zero and clamps, so out-of-range floats never hit UB.
int to_int32(double v);

// Two's complement wrap-around, as 32-bit MEL ints overflow.
int wrap_int32(qint64 v);

QString type_name(value::kind k);

inline bool is_array_kind(value::kind k) { return k >= value::int_array; }
value::kind element_kind(value::kind array);
value::kind array_kind(value::kind scalar);
value default_value(value::kind k);

// Glob match as gmatch does it: * ? [abc] [a-z] [!x] and \ escapes.
bool glob_match(const QString& text, const QString& pattern);

} // namespace mel::detail
