#include "plugin/images.h"

#include <algorithm>
#include <iterator>

#include "plugin/artwork.h"
#include "plugin/icon.h"

namespace loopbox {

namespace {

constexpr auto kLibraryLarge = ColorIcon<kLibraryLargeArt>();
constexpr auto kPidSmall = MaskedIcon<kPidSmallArt>();
constexpr auto kPidLarge = MaskedIcon<kPidLargeArt>();
constexpr auto kBooleanSmall = MaskedIcon<kBooleanSmallArt>();
constexpr auto kBooleanLarge = MaskedIcon<kBooleanLargeArt>();
constexpr auto kStepSmall = MaskedIcon<kStepSmallArt>();
constexpr auto kStepLarge = MaskedIcon<kStepLargeArt>();

constexpr const std::uint8_t* kImages[] = {
    kLibraryLarge.data(), kPidSmall.data(),  kPidLarge.data(),  kBooleanSmall.data(),
    kBooleanLarge.data(), kStepSmall.data(), kStepLarge.data(),
};
static_assert(std::size(kImages) == kImageCount);

}  // namespace

const std::uint8_t* images[kImageCount] = {};

void FillImageTable() { std::copy(std::begin(kImages), std::end(kImages), images); }

}  // namespace loopbox
