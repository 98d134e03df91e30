// Makes the program's close() fail, as it does on a file system that writes late.
#pragma once

/// The next close() closes its descriptor and then reports this error.
void failNextClose(int error);
