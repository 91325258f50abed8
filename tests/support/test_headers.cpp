// Compiles nothing of its own: the programs of the tests share the headers that are precompiled for
// it.
