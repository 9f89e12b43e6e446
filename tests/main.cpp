// The main program of all tests, and the one place where doctest's implementation is compiled.
#define DOCTEST_CONFIG_IMPLEMENT
#include <doctest/doctest.h>

#include <iostream>

int main(int argc, char** argv) {
    doctest::Context context(argc, argv);
    context.setCout(&std::cerr);  // standard output is what some tests look at
    return context.run();
}
