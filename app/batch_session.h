// A run like maya -batch or mayapy: no interface, no main window, and
// nothing drains the idle queue unless a script asks (flushIdleQueue).
#pragma once

#include "command_line.h"

// Runs the options' steps under the QCoreApplication the caller made and
// returns the exit status: 1 when any error was printed.
int run_batch(const app_options& options);
