#include "mel_lexer.h"
#include "mel_text.h"

namespace mel::detail {

namespace {

bool ascii_digit(QChar c) { return c.unicode() >= '0' && c.unicode() <= '9'; }
bool ident_start(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || u == '_';
}
bool ident_char(QChar c) { return ident_start(c) || ascii_digit(c); }
bool hex_digit(QChar c)
{
    const ushort u = c.unicode();
    return ascii_digit(c) || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
}

// Scans a number starting at p (no sign); returns its end, or p if none.
int scan_number(const QChar* s, int n, int p, bool* is_float, bool* is_hex)
{
    *is_float = false;
    *is_hex = false;
    if (p + 2 < n && s[p] == QLatin1Char('0') && (s[p + 1] == QLatin1Char('x') || s[p + 1] == QLatin1Char('X'))
        && hex_digit(s[p + 2])) {
        *is_hex = true;
        p += 2;
        while (p < n && hex_digit(s[p]))
            ++p;
        return p;
    }
    const int start = p;
    int digits = 0;
    while (p < n && ascii_digit(s[p])) {
        ++p;
        ++digits;
    }
    if (p < n && s[p] == QLatin1Char('.')) {
        int q = p + 1;
        int more = 0;
        while (q < n && ascii_digit(s[q])) {
            ++q;
            ++more;
        }
        if (digits + more > 0) {
            *is_float = true;
            digits += more;
            p = q;
        }
    }
    if (digits == 0)
        return start;
    if (p < n && (s[p] == QLatin1Char('e') || s[p] == QLatin1Char('E'))) {
        int q = p + 1;
        if (q < n && (s[q] == QLatin1Char('+') || s[q] == QLatin1Char('-')))
            ++q;
        if (q < n && ascii_digit(s[q])) {
            while (q < n && ascii_digit(s[q]))
                ++q;
            *is_float = true;
            p = q;
        }
    }
    return p;
}

void set_number(const QString& digits, bool is_float, bool is_hex, bool negative, token& t)
{
    if (is_float) {
        t.type = tok::floating;
        const double v = digits.toDouble();
        t.float_value = negative ? -v : v;
        return;
    }
    t.type = tok::integer;
    bool ok = false;
    const qulonglong v = is_hex ? digits.mid(2).toULongLong(&ok, 16) : digits.toULongLong(&ok, 10);
    if (ok) {
        // Literals wrap to 32 bits like C: 0xFFFFFFFF is -1.
        const qint64 sv = static_cast<qint64>(v);
        t.int_value = wrap_int32(negative ? -sv : sv);
    } else {
        t.int_value = to_int32(negative ? -digits.toDouble() : digits.toDouble());
    }
}

} // namespace

lexer::lexer(const QString& source)
    : source_(source), s_(source_.constData()), n_(source_.size())
{
}

void lexer::seek(int pos, int line)
{
    p_ = pos;
    line_ = line;
}

QString lexer::excerpt(const token& t) const
{
    const int len = qMin(t.end - t.begin, 40);
    return source_.mid(t.begin, len);
}

void lexer::fail(int line, const QString& message) const
{
    throw syntax_error{line, message};
}

void lexer::skip_space()
{
    while (p_ < n_) {
        const QChar c = s_[p_];
        if (c == QLatin1Char('\n')) {
            ++line_;
            ++p_;
        } else if (c.isSpace()) {
            ++p_;
        } else if (c == QLatin1Char('/') && p_ + 1 < n_ && s_[p_ + 1] == QLatin1Char('/')) {
            while (p_ < n_ && s_[p_] != QLatin1Char('\n'))
                ++p_;
        } else if (c == QLatin1Char('/') && p_ + 1 < n_ && s_[p_ + 1] == QLatin1Char('*')) {
            const int start_line = line_;
            p_ += 2;
            for (;;) {
                if (p_ + 1 >= n_)
                    fail(start_line, QStringLiteral("unterminated comment"));
                if (s_[p_] == QLatin1Char('*') && s_[p_ + 1] == QLatin1Char('/')) {
                    p_ += 2;
                    break;
                }
                if (s_[p_] == QLatin1Char('\n'))
                    ++line_;
                ++p_;
            }
        } else {
            break;
        }
    }
}

token lexer::next()
{
    skip_space();
    token t;
    t.line = line_;
    t.begin = p_;
    if (p_ >= n_) {
        t.end = p_;
        t.end_line = line_;
        return t;
    }
    const QChar c = s_[p_];
    if (c == QLatin1Char('"'))
        return string_literal();
    if (ascii_digit(c) || (c == QLatin1Char('.') && p_ + 1 < n_ && ascii_digit(s_[p_ + 1])))
        return number();
    if (ident_start(c) || c == QLatin1Char('$')) {
        if (c == QLatin1Char('$')) {
            if (p_ + 1 >= n_ || !ident_start(s_[p_ + 1]))
                fail(line_, QStringLiteral("expected a variable name after \"$\""));
            ++p_;
        }
        while (p_ < n_ && ident_char(s_[p_]))
            ++p_;
        t.type = c == QLatin1Char('$') ? tok::variable : tok::identifier;
        t.text = QString(s_ + t.begin, p_ - t.begin);
        t.end = p_;
        t.end_line = line_;
        return t;
    }

    const QChar d = p_ + 1 < n_ ? s_[p_ + 1] : QChar();
    auto two = [&](char second, punct yes, punct no) {
        if (d == QLatin1Char(second)) {
            p_ += 2;
            return yes;
        }
        ++p_;
        return no;
    };
    punct p = punct::none;
    switch (c.unicode()) {
    case '(': ++p_; p = punct::lparen; break;
    case ')': ++p_; p = punct::rparen; break;
    case '{': ++p_; p = punct::lbrace; break;
    case '}': ++p_; p = punct::rbrace; break;
    case '[': ++p_; p = punct::lbracket; break;
    case ']': ++p_; p = punct::rbracket; break;
    case ';': ++p_; p = punct::semicolon; break;
    case ',': ++p_; p = punct::comma; break;
    case '?': ++p_; p = punct::question; break;
    case ':': ++p_; p = punct::colon; break;
    case '`': ++p_; p = punct::backquote; break;
    case '%': ++p_; p = punct::percent; break;
    case '*': p = two('=', punct::star_assign, punct::star); break;
    case '/': p = two('=', punct::slash_assign, punct::slash); break;
    case '<': p = two('=', punct::le, punct::lt); break;
    case '>': p = two('=', punct::ge, punct::gt); break;
    case '=': p = two('=', punct::eq, punct::assign); break;
    case '!': p = two('=', punct::ne, punct::logical_not); break;
    case '+':
        p = d == QLatin1Char('+') ? (p_ += 2, punct::increment) : two('=', punct::plus_assign, punct::plus);
        break;
    case '-':
        p = d == QLatin1Char('-') ? (p_ += 2, punct::decrement) : two('=', punct::minus_assign, punct::minus);
        break;
    case '&':
        if (d != QLatin1Char('&'))
            fail(line_, QStringLiteral("unexpected \"&\""));
        p_ += 2;
        p = punct::logical_and;
        break;
    case '|':
        if (d != QLatin1Char('|'))
            fail(line_, QStringLiteral("unexpected \"|\""));
        p_ += 2;
        p = punct::logical_or;
        break;
    default:
        fail(line_, QStringLiteral("unexpected character \"%1\"").arg(c));
    }
    t.type = tok::punct;
    t.p = p;
    t.end = p_;
    t.end_line = line_;
    return t;
}

token lexer::string_literal()
{
    token t;
    t.type = tok::string;
    t.line = line_;
    t.begin = p_;
    ++p_;
    // Copy escape-free runs in one go: a 10 MB literal costs one pass.
    QString out;
    int run = p_;
    for (;;) {
        if (p_ >= n_ || s_[p_] == QLatin1Char('\n'))
            fail(t.line, QStringLiteral("unterminated string"));
        const QChar c = s_[p_];
        if (c == QLatin1Char('"'))
            break;
        if (c != QLatin1Char('\\')) {
            ++p_;
            continue;
        }
        out.append(s_ + run, p_ - run);
        ++p_;
        if (p_ >= n_)
            fail(t.line, QStringLiteral("unterminated string"));
        const QChar e = s_[p_++];
        switch (e.unicode()) {
        case 'n': out.append(QLatin1Char('\n')); break;
        case 't': out.append(QLatin1Char('\t')); break;
        case 'r': out.append(QLatin1Char('\r')); break;
        case '\n': ++line_; break; // a backslash at the end of a line continues the string
        default: out.append(e); break; // \" \\ and unknown escapes keep the character
        }
        run = p_;
    }
    if (out.isEmpty())
        out = QString(s_ + run, p_ - run);
    else
        out.append(s_ + run, p_ - run);
    ++p_;
    t.text = out;
    t.end = p_;
    t.end_line = line_;
    return t;
}

token lexer::number()
{
    token t;
    t.line = line_;
    t.begin = p_;
    bool is_float = false;
    bool is_hex = false;
    p_ = scan_number(s_, n_, p_, &is_float, &is_hex);
    if (p_ < n_ && (ident_char(s_[p_]) || (s_[p_] == QLatin1Char('.') && !is_hex)))
        fail(line_, QStringLiteral("invalid number \"%1\"").arg(QString(s_ + t.begin, qMin(p_ + 1 - t.begin, 40))));
    set_number(QString(s_ + t.begin, p_ - t.begin), is_float, is_hex, false, t);
    t.end = p_;
    t.end_line = line_;
    return t;
}

token lexer::word()
{
    token t;
    t.line = line_;
    t.begin = p_;
    while (p_ < n_) {
        const QChar c = s_[p_];
        if (c.isSpace())
            break;
        const ushort u = c.unicode();
        if (u == ';' || u == '"' || u == '`' || u == '(' || u == ')' || u == '{' || u == '}')
            break;
        ++p_;
    }
    t.end = p_;
    t.end_line = line_;
    t.text = QString(s_ + t.begin, p_ - t.begin);
    if (!parse_number_word(t.text, t))
        t.type = tok::string;
    return t;
}

bool parse_number_word(const QString& text, token& t)
{
    const QChar* s = text.constData();
    const int n = text.size();
    const bool negative = n > 0 && s[0] == QLatin1Char('-');
    const int start = negative ? 1 : 0;
    bool is_float = false;
    bool is_hex = false;
    const int end = scan_number(s, n, start, &is_float, &is_hex);
    if (end == start || end != n)
        return false;
    set_number(text.mid(start), is_float, is_hex, negative, t);
    return true;
}

} // namespace mel::detail
