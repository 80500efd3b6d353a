#pragma once

#include "mel_ast.h"
#include "mel_lexer.h"

#include <cstdint>
#include <functional>

namespace mel::detail {

// Deepest nesting of blocks, parentheses, brackets and unary operators the
// parser accepts: keeps both parsing and running far from the native stack's end.
constexpr int max_nesting = 256;

// Which names a procedure's calls may bind to when it is parsed, besides the
// procedures of the same text.
using name_filter = std::function<bool(const QString&)>;

// Parses a whole text; throws syntax_error. Nesting also stops when the
// native stack reaches 'stack_floor' (an address; 0 means no limit). With
// 'known', each call inside a procedure is bound now: one whose name is
// neither known nor a procedure of this text stays unbound.
std::shared_ptr<const ast::program> parse(const QString& source, std::uintptr_t stack_floor = 0,
                                          const name_filter& known = {});

} // namespace mel::detail
