// What a plug-in answers before there is an instrument.
#include <cstring>
#include <set>

#include "runtime/runtime.h"
#include "runtime/text/wide_text.h"
#include "validation/cases.h"

namespace validation {

namespace {

constexpr std::uint32_t kPastAnyClass = 1000;
constexpr unsigned kMaximumExtent = 256;  // pixels; an icon is far smaller

std::uint32_t Length(const std::u16string& text) { return static_cast<std::uint32_t>(text.size()); }

void Opens(CProbe& probe) { probe.Plugin(); }

void InterfaceNumber(CProbe& probe) {
  const auto check = probe.Exports().check;
  for (const std::uint32_t number : {0u, 0x104u, 0x106u, 0x205u, 0x10105u, 0xFFFFFFFFu}) {
    CGuardedText message(kCapacity);
    const std::string shown = std::to_string(number);
    probe.Doing("Check with the interface number " + shown);
    probe.Expect(!check(kCapacity, message.Buffer(), 0, 0, 0, number), "accepts the interface number " + shown);
    probe.Expect(!message.Untouched() && !message.Text(probe, "Check").empty(),
                 "refuses the interface number " + shown + " without a message");
  }
  CheckCapacities(probe, "the message of Check",
                  [&](std::uint32_t capacity, char16_t* buffer) { return !check(capacity, buffer, 0, 0, 0, 0); });
  CGuardedText message(kCapacity);
  probe.Expect(check(kCapacity, message.Buffer(), 0, 0, 0, hx_main::kInterfaceNumber), "refuses at the second time");
  probe.Expect(message.Untouched(), "writes a message though it accepts");
}

TTextWriter Name(CProbe& probe) {
  return [&probe](std::uint32_t capacity, char16_t* buffer) {
    const std::uint8_t* image = nullptr;
    std::uint8_t flag = 0;
    probe.Exports().getDllInfo(capacity, buffer, &image, &image, &flag);
    return true;
  };
}

void Identity(CProbe& probe) {
  CGuardedText text(kCapacity);
  Name(probe)(kCapacity, text.Buffer());
  probe.Expect(!text.Text(probe, "GetDLLInfo").empty(), "the plug-in has no name");
  probe.Expect(probe.Exports().version() == probe.Plugin().Version(), "the version changes");
  probe.Expect(probe.Plugin().Name() == runtime::Translated(runtime::Utf8(text.Text(probe, "GetDLLInfo"))),
               "the name changes");
  if (probe.Plugin().Version() == 0) probe.Warn("the version is 0");
}

void Classes(CProbe& probe) {
  std::set<std::string> names;
  for (const runtime::TClass& item : probe.Plugin().Classes()) {
    probe.Expect(item.name != "meter", "'meter' is a class of the host");
    probe.Expect(names.insert(item.name).second, "two classes are named " + item.name);
    if (item.description.empty()) probe.Warn("no description of " + item.name);
    if (item.infoWord == 0) probe.Warn("the information word of " + item.name + " is 0");
  }
  const auto count = static_cast<std::uint32_t>(names.size());
  probe.Expect(count > 0, "there is no class");
  for (const std::uint32_t index : {count, count + 1, kPastAnyClass, 0x80000000u, 0xFFFFFFFFu}) {
    CGuardedText name(kCapacity);
    probe.Expect(!probe.Exports().getInstrumentName(index, kCapacity, name.Buffer()),
                 "answers for class number " + std::to_string(index) + " of " + std::to_string(count));
    probe.Expect(name.Untouched(), "writes a name past the last class");
  }
}

void UnknownClass(CProbe& probe) {
  const auto refuse = [&probe](const std::u16string& name, std::uint32_t length) {
    const std::string shown = "'" + runtime::Utf8(name.substr(0, length)) + "'";
    const std::uint8_t* image = nullptr;
    std::uint32_t word = 0x5A5A5A5A;
    CGuardedText text(kCapacity);
    probe.Doing("asking for the class " + shown);
    probe.Expect(
        !probe.Exports().getInstrumentInfo(length, name.c_str(), &image, &image, &word, kCapacity, text.Buffer()),
        "describes a class that there is not: " + shown);
    probe.Expect(text.Untouched() && image == nullptr && word == 0x5A5A5A5A,
                 "writes something about a class that there is not: " + shown);
    probe.Expect(probe.Exports().makeInstrument(length, name.c_str()) == nullptr,
                 "makes an instrument of a class that there is not: " + shown);
  };
  for (const char16_t* name : {u"", u"unknown", u"meter", u" ", u"\xD800", u"pid"}) {
    refuse(name, Length(name));
  }
  for (const runtime::TClass& item : probe.Plugin().Classes()) {
    const std::u16string name = runtime::Utf16(item.name);
    refuse(name, Length(name) - 1);
    refuse(name + u"x", Length(name) + 1);
    refuse(u" " + name, Length(name) + 1);
    std::u16string upper = name;
    for (char16_t& c : upper) {
      if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
    }
    if (upper != name) refuse(upper, Length(upper));
  }
}

void Capacities(CProbe& probe) {
  CheckCapacities(probe, "the plug-in's name", Name(probe));
  const std::vector<runtime::TClass>& classes = probe.Plugin().Classes();
  for (std::uint32_t i = 0; i < classes.size(); ++i) {
    CheckCapacities(probe, "the name of class " + std::to_string(i), [&](std::uint32_t capacity, char16_t* buffer) {
      return probe.Exports().getInstrumentName(i, capacity, buffer) != 0;
    });
    const std::u16string name = runtime::Utf16(classes[i].name);
    CheckCapacities(probe, "the description of " + classes[i].name, [&](std::uint32_t capacity, char16_t* buffer) {
      const std::uint8_t* image = nullptr;
      std::uint32_t word = 0;
      return probe.Exports().getInstrumentInfo(Length(name), name.c_str(), &image, &image, &word, capacity, buffer) !=
             0;
    });
  }
}

// One plane of an icon: its extent, then rows of `bits` bits a pixel, padded to
// whole bytes. Yields what stands behind it.
const std::uint8_t* CheckPlane(CProbe& probe, const std::string& what, const std::uint8_t* at, unsigned bits,
                               unsigned* width, unsigned* height) {
  *width = at[0] | static_cast<unsigned>(at[1]) << 8;
  *height = at[2] | static_cast<unsigned>(at[3]) << 8;
  const std::string size = std::to_string(*width) + " × " + std::to_string(*height);
  probe.Expect(*width >= 1 && *height >= 1 && *width <= kMaximumExtent && *height <= kMaximumExtent,
               what + " measures " + size + " pixels");
  const std::size_t stride = (std::size_t{*width} * bits + 7) / 8;
  const unsigned padding = static_cast<unsigned>(stride * 8 - std::size_t{*width} * bits);
  at += 4;
  for (unsigned y = 0; y < *height; ++y, at += stride) {
    probe.Expect((at[stride - 1] & ((1u << padding) - 1)) == 0, what + " has pixels behind the end of a row");
  }
  return at;
}

void CheckImage(CProbe& probe, const std::string& what, const std::uint8_t* image) {
  probe.Doing("reading " + what);
  probe.Expect(image != nullptr, what + " is missing");
  const bool masked = std::memcmp(image, ".NIC.IBW", 8) == 0;
  probe.Expect(masked || std::memcmp(image, ".NIC.I04", 8) == 0, what + " has an unknown signature");
  unsigned width = 0;
  unsigned height = 0;
  const std::uint8_t* at = image + 8;
  if (masked) {
    unsigned maskWidth = 0;
    unsigned maskHeight = 0;
    at = CheckPlane(probe, "the mask of " + what, at, 1, &maskWidth, &maskHeight);
    probe.Expect(std::memcmp(at, ".I04", 4) == 0, what + " has no colours behind its mask");
    CheckPlane(probe, what, at + 4, 4, &width, &height);
    probe.Expect(width == maskWidth && height == maskHeight, what + " and its mask are of different sizes");
  } else {
    CheckPlane(probe, what, at, 4, &width, &height);
  }
}

void Images(CProbe& probe) {
  CheckImage(probe, "the plug-in's small image", probe.Plugin().SmallImage());
  CheckImage(probe, "the plug-in's large image", probe.Plugin().LargeImage());
  for (const runtime::TClass& item : probe.Plugin().Classes()) {
    CheckImage(probe, "the small image of " + item.name, item.smallImage);
    CheckImage(probe, "the large image of " + item.name, item.largeImage);
  }
}

constexpr TCase kIdentityCases[] = {
    {"load/opens", EScope::kPlugin, "The file can be loaded, has the six exports, and accepts this host.", Opens},
    {"load/interface-number", EScope::kPlugin, "Every other interface number is refused with a message.",
     InterfaceNumber},
    {"identity/name", EScope::kPlugin, "The plug-in has a name and a version, the same at each call.", Identity},
    {"identity/classes", EScope::kPlugin,
     "The classes have different names that are identifiers, and there is none past the last.", Classes},
    {"identity/unknown-class", EScope::kPlugin, "Names that no class has get no answer and no instrument.",
     UnknownClass},
    {"identity/capacities", EScope::kPlugin, "Texts fit buffers of any capacity, 0 and 1 too.", Capacities},
    {"identity/images", EScope::kPlugin, "The images of the plug-in and of every class are well formed.", Images},
};

}  // namespace

std::span<const TCase> IdentityCases() { return kIdentityCases; }

}  // namespace validation
