#include "mel_runtime.h"

#if defined(__linux__)
#include <pthread.h>
#elif defined(__APPLE__)
#include <pthread.h>
#elif defined(_WIN32)
#include <windows.h>
#endif

namespace mel {

struct interpreter::impl : detail::runtime {
    using runtime::runtime;
};

namespace detail {

namespace {

// Lowest address a MEL run may reach on this thread: the stack's end plus a
// reserve for one parse or one deep expression between two checks.
std::uintptr_t compute_stack_floor()
{
    constexpr std::uintptr_t reserve = 512 * 1024;
    char here = 0;
    const auto now = reinterpret_cast<std::uintptr_t>(&here);
    std::uintptr_t low = 0;
#if defined(__linux__)
    pthread_attr_t attr;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        void* addr = nullptr;
        size_t size = 0;
        if (pthread_attr_getstack(&attr, &addr, &size) == 0)
            low = reinterpret_cast<std::uintptr_t>(addr);
        pthread_attr_destroy(&attr);
    }
#elif defined(__APPLE__)
    const auto top = reinterpret_cast<std::uintptr_t>(pthread_get_stackaddr_np(pthread_self()));
    low = top - pthread_get_stacksize_np(pthread_self());
#elif defined(_WIN32)
    ULONG_PTR lo = 0;
    ULONG_PTR hi = 0;
    GetCurrentThreadStackLimits(&lo, &hi);
    low = static_cast<std::uintptr_t>(lo);
#endif
    if (low == 0 || low >= now) {
        // Unknown stack: assume a conservative 1 MB below here.
        constexpr std::uintptr_t assumed = 1024 * 1024;
        low = now > assumed ? now - assumed : 0;
    }
    const std::uintptr_t room = now - low;
    return low + (room > 2 * reserve ? reserve : room / 2);
}

std::uintptr_t stack_floor_of_this_thread()
{
    thread_local const std::uintptr_t floor = compute_stack_floor();
    return floor;
}

} // namespace

bool runtime::eval_text(const QString& source, value* result)
{
    if (result)
        *result = value();
    if (frames.empty()) {
        stack_floor = stack_floor_of_this_thread();
    } else if (frames.size() >= static_cast<size_t>(max_call_depth) || stack_exhausted()) {
        report_error(QStringLiteral("line 1: Maximum recursion depth exceeded."));
        return false;
    }
    try {
        value last = run(source);
        if (result)
            *result = last;
        return true;
    } catch (const script_abort&) {
        return false;
    } catch (const std::bad_alloc&) {
        report_error(QStringLiteral("Out of memory."));
        return false;
    }
}

} // namespace detail

interpreter::interpreter() : d(std::make_unique<impl>(*this)) {}

interpreter::~interpreter() = default;

bool interpreter::eval(const QString& source, value* result)
{
    return d->eval_text(source, result);
}

bool interpreter::call(const QString& name, const QVector<value>& args, value* result)
{
    if (result)
        *result = value();
    auto found = d->commands.constFind(name);
    if (found == d->commands.constEnd()) {
        d->report_error(QStringLiteral("Cannot find procedure \"%1\".").arg(name));
        return false;
    }
    const command_fn fn = *found; // the command may unregister itself
    try {
        value v = fn(*this, args);
        if (result)
            *result = v;
        return true;
    } catch (const detail::script_abort&) {
    } catch (const command_failed& e) {
        if (!e.message.isEmpty())
            d->report_error(e.message);
    } catch (const std::bad_alloc&) {
        d->report_error(QStringLiteral("%1: out of memory.").arg(name));
    } catch (const std::exception& e) {
        d->report_error(QStringLiteral("%1: %2").arg(name, QString::fromLocal8Bit(e.what())));
    }
    return false;
}

void interpreter::register_command(const QString& name, command_fn fn)
{
    d->commands.insert(name, std::move(fn));
}

void interpreter::unregister_command(const QString& name)
{
    d->commands.remove(name);
}

bool interpreter::has_command(const QString& name) const
{
    return d->commands.contains(name) || d->builtins.contains(name);
}

bool interpreter::has_builtin(const QString& name) const
{
    return !d->commands.contains(name) && d->builtins.contains(name);
}

QStringList interpreter::command_names() const
{
    QStringList names = d->commands.keys() + d->builtins.keys();
    names.sort();
    names.removeDuplicates();
    return names;
}

bool interpreter::has_procedure(const QString& name) const
{
    return d->procs.contains(name);
}

void interpreter::reset()
{
    // Running frames keep what they use alive through shared pointers.
    d->procs.clear();
    d->globals.clear();
    d->session.clear();
    d->regex_cache.clear();
}

} // namespace mel
