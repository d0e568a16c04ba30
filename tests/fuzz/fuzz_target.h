#pragma once

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace tarnwick {

// What a target does with one input: reads it, also with the functions of the C library, and ends
// the program where the two differ. Each target has its own.
void takeInput(std::string_view input);

// Ends the program unless both ways to read a text gave the same.
template <typename Reading>
void expectSame(const Reading& reading, const Reading& expected) {
  if (reading != expected) {
    std::cerr << "this is read in another way than the C library reads it\n";
    abort();
  }
}

}  // namespace tarnwick
