#pragma once

// Marks what a module shows the program, and all it shows: its factories (extern "C"
// functions without arguments that return a new object the caller owns) or, in
// pictavia-app.so, the application's entry point. Everything else in a module is hidden,
// so a module never stands in for code of the program or of another module.
#define PICTAVIA_MODULE_EXPORT extern "C" __attribute__((visibility("default")))
