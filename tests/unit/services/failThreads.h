// Thread creation of the program under test: it is counted and can be made to fail. Linked with
// --wrap=pthread_create.
#pragma once

#include <cstddef>

/// The next pthread_create() returns this error.
void failNextThread(int error);
/// Every pthread_create() returns this error, until 0 is set.
void failAllThreads(int error);
/// Stack size that the last thread was created with; 0 for the default attributes.
size_t lastStackSize();
/// Threads that the program has created.
int threadsCreated();
