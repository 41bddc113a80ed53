#ifndef OXBOW_PLATFORM_OPENING_H
#define OXBOW_PLATFORM_OPENING_H

#include "platform/platform_FileCalls.h"
#include "platform/platform_OpenFile.h"

// Opens the regular file at the path as CreateFileA tells. Gives 0 or an errno value; a refused
// open has not touched the file's content.
int platform_OpenAt(platform_OpenFile& file, const char* path, DWORD access, DWORD share,
                    DWORD disposition);

#endif
