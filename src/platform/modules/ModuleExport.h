#pragma once

// Marks a module's factory: an extern "C" function without arguments that returns a new
// object the caller owns. It is the only symbol a module shows; everything else in it is
// hidden, so a module never stands in for code of the program.
#define PICTAVIA_MODULE_FACTORY extern "C" __attribute__((visibility("default")))
