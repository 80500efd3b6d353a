#pragma once

#include "mel_ast.h"
#include "mel_lexer.h"

#include <cstdint>

namespace mel::detail {

// Deepest nesting of blocks, parentheses, brackets and unary operators the
// parser accepts: keeps both parsing and running far from the native stack's end.
constexpr int max_nesting = 256;

// Parses a whole text; throws syntax_error. Nesting also stops when the
// native stack reaches 'stack_floor' (an address; 0 means no limit).
std::shared_ptr<const ast::program> parse(const QString& source, std::uintptr_t stack_floor = 0);

} // namespace mel::detail
