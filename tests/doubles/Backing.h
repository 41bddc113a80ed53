#ifndef OXBOW_TEST_BACKING_H
#define OXBOW_TEST_BACKING_H

// The file calls beneath the recorder, under names of their own. A test program links one source of
// them: RealFiles.cpp, the platform's, or MemoryFiles.cpp.
#define CreateFileA BackingCreateFileA
#define SetFilePointer BackingSetFilePointer
#define ReadFile BackingReadFile
#define WriteFile BackingWriteFile
#define FlushFileBuffers BackingFlushFileBuffers
#define GetFileSize BackingGetFileSize
#define CloseHandle BackingCloseHandle
#define GetLastError BackingGetLastError
#include "platform/platform_FileCalls.h"

#endif
