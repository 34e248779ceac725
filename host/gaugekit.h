// The display library: the meter instrument, its history painter, and the
// keywords that instruments share.
#ifndef LOOPBOX_HOST_GAUGEKIT_H
#define LOOPBOX_HOST_GAUGEKIT_H

#include <cstdint>

#include "host/hx_main.h"

#pragma GCC visibility push(default)

namespace runtime {
struct TEvaluated;
}

namespace gaugekit {

enum TMode : std::uint32_t {
  kDial = 1,
  kHalfDial,
  kBar,
  kColumn,
  kSlider,
  kNumber,
  kLamp,
  kLedBar,
  kThermometer,
  kHistory,
};

enum TContent : std::uint32_t { kPlain = 1, kScale, kFull };

constexpr std::uint32_t kModeCount = 10;
constexpr std::uint32_t kContentCount = 3;
constexpr std::uint32_t kNameLength = 31;

// Names and codes, same index.
extern const char16_t ModeStringArray[kModeCount][kNameLength + 1];
extern const std::uint32_t ModeCardArray[kModeCount];
extern const char16_t ContentStringArray[kContentCount][kNameLength + 1];
extern const std::uint32_t ContentCardArray[kContentCount];

// Curves over history buffers on a common range. The structure is made by
// CreateStructure from what was registered since DeallocateStructure.
class CBufferPainter {
 public:
  struct TCurve {
    const double* buffer;  // `count` + 1 elements, the newest last; not owned
    std::uint32_t count;
    std::uint32_t color;
  };
  static constexpr std::uint32_t kMaximumCurves = 2;

  void DeallocateStructure();
  void SetRange(double from, double to, double low, double high);
  void RegisterBuffer(const double* buffer, std::uint32_t count, std::uint32_t color);
  void CreateStructure();

  double rangeFrom;
  double rangeTo;
  double lowLimit;
  double highLimit;
  TCurve curves[kMaximumCurves];
  std::uint32_t curveCount;
  std::uint8_t enable;   // draw the curves
  std::uint8_t created;  // the structure exists
};

// The label of a limit. Few meters show one: its room is made on first use.
class CLimitLabel {
 public:
  char16_t* Room();  // for 255 characters and a terminator; null when there is no memory
  void Update();     // measures the text anew
  void Done();       // releases the room

  char16_t* text;      // null: empty
  std::int32_t width;  // pixels
};

// The eleven colour words, 0x00BBGGRR, in the order of their descriptions.
struct TColors {
  std::uint32_t borderInk;
  std::uint32_t borderPaper;
  std::uint32_t topShadow;
  std::uint32_t bottomShadow;
  std::uint32_t ink;
  std::uint32_t paper;
  std::uint32_t value;
  std::uint32_t lowLimit;
  std::uint32_t highLimit;
  std::uint32_t hGrid;
  std::uint32_t vGrid;
};

constexpr std::uint32_t kHistoryMinimum = 1;
constexpr std::uint32_t kHistoryMaximum = 65536;

// The instrument class "meter": shows one value. It keeps the value that it
// was given, neither limited nor rounded. Its procedure 3 sets rangeFrom and
// rangeTo from two real arguments.
class CMeter final : public hx_vinst::CInstrument {
 public:
  CMeter();

  void Done() override;
  void NewRect(vcom::CRect newRect) override;
  void InitInstrument() override;
  void SettingsChanged() override;
  std::uint8_t NeedsTiming() override;
  void Action(std::uint32_t reason) override;
  std::uint8_t GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                   std::uint32_t keywordCapacity, char16_t* keyword, std::uint32_t descriptionCapacity,
                                   char16_t* description, std::uint32_t* defaultColor) override;
  std::uint8_t ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t tokenCapacity,
                        char16_t* tokenText) override;
  std::uint8_t GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum) override;
  std::uint32_t GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag) override;
  std::uint8_t GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) override;
  std::uint8_t GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description) override;
  std::uint8_t Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                      char16_t* errorText) override;
  void FinishRead(vcom::CRect finalRect) override;
  // Further slots: show a new value; take the attributes as they stand now
  // (counts are brought into their ranges, the buffer gets its size).
  virtual void SetMeterValue(double newValue);
  virtual void SetBaseRect(vcom::CRect newRect);

  // Back to the defaults: bar, plain, 0 to 100, limits 0 and 100, history 100,
  // one decimal place, default colours, a buffer of `history` + 1 zeros.
  void InitData();

  // What a period touches stands together, and on one cache line when the
  // object stands 16 bytes behind the start of one.
  double meterValue;  // shown now
  double rangeFrom;
  double rangeTo;
  // Whether a painter draws the history buffer, and as of which change of the
  // painters: only then is it shifted.
  std::uint32_t drawnAsOf;
  std::uint8_t drawn;
  runtime::TEvaluated* evaluated;  // the host's: what its instrument evaluated last; never null

  std::uint32_t mode;
  std::uint32_t content;
  double lowLimit;
  double highLimit;
  double realStep;        // rounds what is printed to a multiple; 0: does not
  double* historyBuffer;  // history + 1 elements, the newest last; from MemAllocate
  std::uint32_t history;
  std::uint32_t decPlaces;
  std::uint32_t hGrid;  // divisions; 0: no grid
  std::uint32_t vGrid;
  std::uint32_t rangeFromMark;
  std::uint32_t rangeToMark;
  std::uint32_t lowLimitMark;
  std::uint32_t highLimitMark;
  std::uint32_t historyMark;
  std::uint32_t decPlacesMark;
  std::uint32_t realStepMark;
  std::uint32_t hGridMark;
  std::uint32_t vGridMark;
  std::uint32_t maskMark;
  std::uint32_t fontHandle;  // 0: the default font
  TColors colors;
  CBufferPainter painter;
  vgr::TFontInfoEx font;
  char16_t mask[63 + 1];  // `#` stands for the number; empty: the number alone
  CLimitLabel lowLabel;
  CLimitLabel highLabel;
  hx_expr::TExprTreeRecord* expression;  // of a meter of its own; owned
  std::uint64_t samples;                 // that the history got since it was made; the newest are in the buffer

 private:
  bool IsDrawn();
  void KeepHistory(double newValue);
  void ShowLimited();
  void ResizeBuffer();
  void UpdateLabels();
};

void Init_();

}  // namespace gaugekit

// Keywords and descriptions, each of exactly its declared length.
namespace gaugekit_ {

extern const char16_t kwMODE[4 + 1];
extern const char16_t kwCONTENT[7 + 1];
extern const char16_t kwRANGE_FROM[10 + 1];
extern const char16_t kwRANGE_TO[8 + 1];
extern const char16_t kwLOW_LIMIT[9 + 1];
extern const char16_t kwHIGH_LIMIT[10 + 1];
extern const char16_t kwHISTORY[7 + 1];
extern const char16_t kwDEC_PLACES[10 + 1];
extern const char16_t kwREAL_STEP[9 + 1];
extern const char16_t kwH_GRID[6 + 1];
extern const char16_t kwV_GRID[6 + 1];
extern const char16_t kwFONT[4 + 1];
extern const char16_t kwMASK[4 + 1];
extern const char16_t kwCOLORS[6 + 1];
extern const char16_t kwEND_COLORS[10 + 1];
extern const char16_t kwBORDER_INK[10 + 1];
extern const char16_t kwBORDER_PAPER[12 + 1];
extern const char16_t kwTOP_SHADOW[10 + 1];
extern const char16_t kwBOTTOM_SHADOW[13 + 1];
extern const char16_t kwINK[3 + 1];
extern const char16_t kwPAPER[5 + 1];
extern const char16_t kwVALUE[5 + 1];
extern const char16_t kwRECEIVERS[9 + 1];
extern const char16_t kwOUTPUT[6 + 1];
extern const char16_t kwEXPRESSION[10 + 1];

extern const char16_t kwBORDER_INKc[21 + 1];
extern const char16_t kwBORDER_PAPERc[19 + 1];
extern const char16_t kwTOP_SHADOWc[19 + 1];
extern const char16_t kwBOTTOM_SHADOWc[19 + 1];
extern const char16_t kwINKc[14 + 1];
extern const char16_t kwPAPERc[12 + 1];
extern const char16_t kwVALUEc[22 + 1];
extern const char16_t kwLOW_LIMITc[22 + 1];
extern const char16_t kwHIGH_LIMITc[22 + 1];
extern const char16_t kwH_GRIDcc[22 + 1];
extern const char16_t kwV_GRIDcc[19 + 1];

void Init_();

}  // namespace gaugekit_

#pragma GCC visibility pop

#endif
