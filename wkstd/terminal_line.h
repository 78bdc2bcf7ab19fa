// The one line at the foot of standard error that is drawn over and over: progress.
//
// While it is open, everything else that goes to standard error takes its place and pushes it down;
// the next drawing puts it back. Nothing is shown while it is closed, and it is closed for good.
// Threads: any; one lock is held over each write. No memory is allocated, so that an exhausted one
// can be told too.
#pragma once

#include <string_view>

namespace wk {

void open_terminal_line();
// Draws the line anew; text holds no control byte and fits the terminal's width.
void show_terminal_line(std::string_view text);
// Removes it from the screen. Before anybody writes to the terminal past this file, and before the
// process ends.
void close_terminal_line();

// Writes text to standard error, above the line where there is one.
void write_above_terminal_line(std::string_view text);

}  // namespace wk
