// Tokenizer for MEL. The parser drives it by position because command syntax
// ("select -r hero:body.vtx[0:3]") needs different word rules than
// expressions; seek() lets the parser switch between the two.
#pragma once

#include <QString>

namespace mel::detail {

struct syntax_error {
    int line;
    QString message; // without the "Syntax error: " prefix
};

// The parser ran out of native stack (a nested eval deep in a recursion).
struct parse_stack_exhausted {
    int line;
};

enum class tok { end, identifier, variable, integer, floating, string, punct };

enum class punct {
    none,
    lparen, rparen, lbrace, rbrace, lbracket, rbracket,
    semicolon, comma, question, colon, backquote,
    plus, minus, star, slash, percent,
    lt, le, gt, ge, eq, ne, logical_and, logical_or, logical_not,
    assign, plus_assign, minus_assign, star_assign, slash_assign,
    increment, decrement,
};

struct token {
    tok type = tok::end;
    punct p = punct::none;
    int line = 1;     // where the token starts
    int begin = 0;    // offsets into the source
    int end = 0;
    int end_line = 1; // line at 'end', to resume lexing there
    QString text;     // identifier, "$name", decoded string, or a command word
    int int_value = 0;
    double float_value = 0.0;
};

class lexer {
public:
    explicit lexer(const QString& source);

    token next();            // one expression-syntax token
    token word();            // one command-syntax word at the current position
    void skip_space();       // whitespace and comments
    void seek(int pos, int line);

    int pos() const { return p_; }
    int line() const { return line_; }
    bool at_end() const { return p_ >= n_; }
    QChar peek(int ahead = 0) const { return p_ + ahead < n_ ? s_[p_ + ahead] : QChar(); }
    QString excerpt(const token& t) const;

private:
    token string_literal();
    token number();
    [[noreturn]] void fail(int line, const QString& message) const;

    QString source_;
    const QChar* s_;
    int n_;
    int p_ = 0;
    int line_ = 1;
};

// Whether 'text' is a whole MEL number (optionally negative); fills t's type
// and value. Used for command words, where "-1" and "2.5" are numbers.
bool parse_number_word(const QString& text, token& t);

} // namespace mel::detail
