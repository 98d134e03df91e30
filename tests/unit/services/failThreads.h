// Thread creation of the program under test: it can be made to fail once. Linked with --wrap=pthread_create.
#pragma once

#include <cstddef>

/// The next pthread_create() returns this error.
void failNextThread(int error);
/// Stack size that the last thread was created with.
size_t lastStackSize();
