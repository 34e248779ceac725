// Pictures of what an application shows, and of the plug-in's icons. What a
// picture holds is decided in one walk over the views, whatever the format.
//
//   painting::UseFontMetrics();                     // before the application is read
//   std::string svg, error;
//   painting::Picture(*application, painting::EFormat::kSvg, &svg, &error);
//
// A build without pictures has the same operations: they answer false, with a
// message that says so.
#ifndef LOOPBOX_PAINTING_PAINTING_H
#define LOOPBOX_PAINTING_PAINTING_H

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/runtime.h"

namespace painting {

enum class EFormat { kPng, kSvg };

constexpr char kFormatEndings[] = ".png or .svg";

// False with a message when this build has no pictures.
bool IsBuiltIn(std::string* error);

// By the ending of the file's name, in any case.
std::optional<EFormat> FormatOf(const std::string& fileName);

// From now on the runtime measures text by the fonts that draw it, so that
// what it lays out fits. Called before an application is read; a run without
// pictures keeps the fixed metrics and needs no fonts.
void UseFontMetrics();

// The application's window as it stands: every instrument at its position,
// captioned where there is room. The window is as large as they need. *bytes
// receives the whole file. False with a message.
bool Picture(const runtime::CApplication& application, EFormat format, std::string* bytes, std::string* error);

// An image of the icon format as a PNG file; false with a message when its
// signatures are not those of the format.
bool IconPicture(const std::uint8_t* icon, std::string* bytes, std::string* error);

// Writes a picture to a file; false with a message that names it. Then no part of
// it is left.
bool WritePicture(const std::string& fileName, const std::string& bytes, std::string* error);

}  // namespace painting

#endif
