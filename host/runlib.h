// The platform's run-time library: memory, wide strings, number formatting,
// mathematics and files.
//
// Conventions of every header in this folder:
//  - text is UTF-16 and passes as (length or capacity, pointer). A capacity
//    counts characters without the terminator: a buffer of capacity 63 is 64
//    characters long. Every copy ends with a terminator, so a buffer of
//    capacity 0 receives the terminator alone; a null buffer receives nothing.
//    A source text ends at its length or at its first zero, whichever is first.
//  - a boolean is one byte, 1 for true;
//  - nothing here throws, and no C++ library type crosses the boundary.
#ifndef LOOPBOX_HOST_RUNLIB_H
#define LOOPBOX_HOST_RUNLIB_H

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(default)

namespace runlib {

// --- Memory ---------------------------------------------------------------

// Stores a new zero-filled block of `size` bytes, aligned for any type, in
// *block, or null when there is none. The caller owns it.
void MemAllocate(void** block, std::size_t size);
// Releases *block, which MemAllocate gave, and sets it to null; null is allowed.
void MemDeallocate(void** block);

// --- Wide strings ---------------------------------------------------------

// Copies at most `capacity` characters of the source and a terminator.
void WStrAssign(std::uint32_t capacity, char16_t* destination, std::uint32_t length, const char16_t* source);
// 0 when the two texts are equal, else the sign of the first difference.
std::int32_t WStrCompare(std::uint32_t capacity, const char16_t* text, std::uint32_t length, const char16_t* other);
// Formats with `decimalPlaces` (taken as at most 15) places, rounding half to
// even on the exact binary value; *length counts the characters written.
void RealToWStr(double value, std::uint32_t decimalPlaces, std::uint32_t capacity, char16_t* destination,
                std::uint32_t* length);

// --- Mathematics: functions of one double, as the standard ones ------------

double RealCos(double x);
double RealCosh(double x);
double RealArcCos(double x);
double RealExp(double x);
double RealSqrt(double x);
double RealLn(double x);  // natural logarithm

// --- Files ------------------------------------------------------------------

// The application's file context: relative names start in its folder. Opaque.
struct TFileContext;

constexpr std::uint32_t kNoHandle = 0xFFFFFFFF;
constexpr std::uint32_t kPathCapacity = 259;

// Expands `name` to a full path below the application's folder. A name that
// would leave the folder gives an empty path.
void ExpandFileName(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t pathCapacity,
                    char16_t* path);
void SplitFileName(TFileContext* context, std::uint32_t pathCapacity, const char16_t* path,
                   std::uint32_t directoryCapacity, char16_t* directory, std::uint32_t nameCapacity, char16_t* name);
std::uint8_t PathExists(std::uint32_t capacity, const char16_t* path);
// Makes the directory and those above it that are missing.
void CreateDirectoryPath(std::uint32_t capacity, const char16_t* path);
// Begins a new file that replaces the one of that name whole: the bytes go to
// a temporary file beside it, which FileClose flushes and renames into place,
// unless a write fell short or failed: then the old file stays as it was.
// kNoHandle on failure. Mode 0.
std::uint32_t FileCreate(TFileContext* context, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t mode);
// Opens a file for reading (mode 1). `host` is an hx_main::TContext, through
// which the file context is reached. FileError tells whether it is usable.
std::uint32_t FileOpen(void* host, std::uint32_t nameCapacity, const char16_t* name, std::uint32_t mode);
// 0 when the handle is usable and no operation on it has failed.
std::uint32_t FileError(std::uint32_t handle);
// Both yield the number of bytes moved; `size` is the size of the buffer and
// bounds `count`. A short count is a failure of the handle for writing.
std::uint32_t FileRead(std::uint32_t handle, std::uint32_t size, void* buffer, std::uint32_t count);
std::uint32_t FileWrite(std::uint32_t handle, std::uint32_t size, const void* buffer, std::uint32_t count);
void FileClose(std::uint32_t handle);

}  // namespace runlib

#pragma GCC visibility pop

#endif
