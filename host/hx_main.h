// The host runtime: the base class of every instrument with its services,
// values, expressions, the instrument manager, messages and keywords.
#ifndef LOOPBOX_HOST_HX_MAIN_H
#define LOOPBOX_HOST_HX_MAIN_H

#include <cstdint>

#include "host/panes.h"
#include "host/runlib.h"
#include "host/toolkit.h"

#pragma GCC visibility push(default)

namespace hx_vinst {
class CInstrument;
struct THostPart;
}  // namespace hx_vinst

namespace hx_expr {

// Value type codes.
enum TType : std::uint32_t {
  kBoolean = 2,
  kUnsigned8 = 3,
  kUnsigned16 = 4,
  kUnsigned32 = 5,
  kSigned8 = 6,
  kSigned16 = 7,
  kSigned32 = 8,
  kSingle = 9,
  kReal = 10,
};

struct TValue {
  std::uint32_t type;  // a TType
  union {
    std::uint8_t boolean;
    std::uint8_t unsigned8;
    std::uint16_t unsigned16;
    std::uint32_t unsigned32;
    std::int8_t signed8;
    std::int16_t signed16;
    std::int32_t signed32;
    float single;
    double real;
  };
};

// The arguments of a call, the caller's; those passed by reference are changed
// in place.
struct TValueArray {
  std::uint32_t count;
  TValue* items;
};

// A compiled expression. Opaque; made by ReadEquExpression and
// ReadEquDataElement, released by FreeExpression.
struct TExprTreeRecord;

void Init_();

}  // namespace hx_expr

namespace hx_main {

// What an instrument knows of its application.
struct TContext {
  runlib::TFileContext* files;
  void* application;  // the host's own
};

// Reports an error of a running instrument to the host, which shows it with
// the instrument, the time and the text. The last argument is 0.
void RunTimeError(std::uint32_t nameCapacity, const char16_t* name, std::uint32_t length, const char16_t* message,
                  TContext* ctx, std::uint32_t reserved);

class CInstrumentManager {
 public:
  // 0 when there is no such class.
  std::uint32_t GetClassHandle(std::uint32_t length, const char16_t* className);
  // A new instrument, initialised, in the given context; null when it can't be
  // made. The caller gives it to a view tree, which then owns it. *word
  // receives 0.
  hx_vinst::CInstrument* MakeInstrument(std::uint32_t handle, TContext* ctx, std::uint32_t* word);
};
extern CInstrumentManager* PInstrumentManager;

class CMsgScanner {
 public:
  // The message of that key in the selected group, at most 255 characters and
  // a terminator, or the default; valid until the next call.
  const char16_t* GetKeyPMsg(std::uint32_t keyLength, const char16_t* key, std::uint32_t defaultLength,
                             const char16_t* defaultText);

  char16_t group[64];
  char16_t message[256];
};
extern CMsgScanner* RunMsgScanner;

// The number of this interface, which a host and a plug-in must have in common.
constexpr std::uint32_t kInterfaceNumber = 0x105;

void Init_();

}  // namespace hx_main

// Message texts, each of exactly its declared length.
namespace hx_err_ {
extern const char16_t _Wrong_API_version[21 + 1];
extern const char16_t _Expected_identifier[22 + 1];
extern const char16_t _Unknown_identifier[21 + 1];
extern const char16_t _Unknown_keyword[21 + 1];
extern const char16_t _Expression_redefined[17 + 1];
}  // namespace hx_err_

namespace hx_keyw {
extern const char16_t kwPOSITION[8 + 1];
extern const char16_t kwBLINK_RATE[10 + 1];
void Init_();
}  // namespace hx_keyw

namespace hx_proc {
void Init_();
}

namespace hx_tool {
inline void SetValueLongReal(hx_expr::TValue* value, double real) {
  value->type = hx_expr::kReal;
  value->real = real;
}
inline void SetValueBoolean(hx_expr::TValue* value, std::uint8_t boolean) {
  value->type = hx_expr::kBoolean;
  value->boolean = boolean != 0 ? 1 : 0;
}
void Init_();
}  // namespace hx_tool

namespace hx_vinst {

constexpr std::uint32_t kNoIdentifier = 0xFFFFFFFF;
constexpr std::uint64_t kNoDataElement = 0x00000000FFFFFFFFull;
constexpr std::uint32_t kNoMark = 0xFFFFFFFF;
constexpr std::uint32_t kHostIdentifier = 0x80000000;  // set in every identifier of the host

constexpr std::uint32_t kStateActivateAlways = 0x10;  // receivers are activated in every period
constexpr std::uint32_t kStatePending = 0x20;
constexpr std::uint32_t kActionTimer = 1;     // the instrument's own period
constexpr std::uint32_t kActionReceiver = 2;  // another instrument activated it

// Base of every instrument. The host makes an object through the plug-in's
// MakeInstrument, sets `ctx` and `name`, calls InitInstrument once, ReadSelf
// for each definition, Action in each period, and Done at the end; it then
// releases the block, whose address is the object's. All calls come from one
// thread, one at a time.
class CInstrument : public view::CNodeView {
 public:
  CInstrument();

  // --- Virtual operations, in slot order (Done, ReceiveEvent and NewRect are
  //     the view's first three) ---
  void Done() override;
  void ReceiveEvent(vcore::TEvent* event) override;
  void NewRect(vcom::CRect newRect) override;
  // Once, after construction, when `ctx` and `name` are set.
  virtual void InitInstrument();
  // After a setting was changed from outside, for instance a colour word.
  virtual void SettingsChanged();
  // After reading: 1 when Action must be called in each period.
  virtual std::uint8_t NeedsTiming();
  // Once a period, with kActionTimer or kActionReceiver.
  virtual void Action(std::uint32_t) {}
  // At the rate registered last: phase 1, then 0, and so on.
  virtual void Blink(std::uint8_t phase);
  // Descriptions by index from 0; false past the end. The texts are copied.
  virtual std::uint8_t GetVarDescription(std::uint32_t index, std::uint32_t nameCapacity, char16_t* name,
                                         std::uint32_t descriptionCapacity, char16_t* description);
  // The event procedures that the application may define.
  virtual std::uint8_t GetProcedureDescription(std::uint32_t index, std::uint32_t nameCapacity, char16_t* name,
                                               std::uint32_t descriptionCapacity, char16_t* description);
  // *color points into the instrument; whoever writes there calls
  // SettingsChanged afterwards.
  virtual std::uint8_t GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                           std::uint32_t keywordCapacity, char16_t* keyword,
                                           std::uint32_t descriptionCapacity, char16_t* description,
                                           std::uint32_t* defaultColor);
  // Reads the definition that the host holds, through the reading services.
  // On false the error text holds the message and the token text the last
  // top-level keyword read.
  virtual std::uint8_t ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t tokenCapacity,
                                char16_t* tokenText);
  virtual std::uint8_t GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum);
  // The identifier of a procedure `Name__letters`, or kNoIdentifier. With the
  // flag 1 the application's event procedures of this instrument are found.
  virtual std::uint32_t GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag);
  virtual std::uint8_t GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName);
  virtual std::uint8_t GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description);
  // Runs a procedure. The arguments are the caller's. False: it failed, and
  // the error text (which may be empty) says why.
  virtual std::uint8_t Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                              char16_t* errorText);
  virtual std::uint8_t GetInstrumentInfo(std::uint32_t request, std::uint32_t capacity, char16_t* text);
  // At the end of ReadSelf, with the instrument's rectangle.
  virtual void FinishRead(vcom::CRect finalRect);

  // --- Reading services, for use inside ReadSelf. Each leaves its message in
  //     the buffer given first when it answers false. A mark is the place of
  //     the value in the text. ---
  // False at the end of the definition. The last argument is 0.
  std::uint8_t ReadToken(std::uint32_t capacity, char16_t* message, vtape::TToken* token, std::uint32_t reserved);
  std::uint8_t ReadEqu(std::uint32_t capacity, char16_t* message);
  std::uint8_t ReadSemicolon(std::uint32_t capacity, char16_t* message);
  std::uint8_t ReadInteger(std::uint32_t capacity, char16_t* message, std::int32_t* value, std::uint32_t* mark);
  std::uint8_t ReadCardinal(std::uint32_t capacity, char16_t* message, std::uint32_t* value, std::uint32_t* mark);
  std::uint8_t ReadReal(std::uint32_t capacity, char16_t* message, double* value, std::uint32_t* mark);
  std::uint8_t ReadBoolean(std::uint32_t capacity, char16_t* message, std::uint8_t* value, std::uint32_t* mark);
  std::uint8_t ReadString(std::uint32_t capacity, char16_t* message, std::uint32_t textCapacity, char16_t* text,
                          std::uint32_t* mark);
  // The following read "=", the value and ";".
  std::uint8_t ReadEquColor(std::uint32_t capacity, char16_t* message, std::uint32_t* color);
  std::uint8_t ReadEquFont(std::uint32_t capacity, char16_t* message, vgr::TFontInfoEx* font, std::uint32_t* handle);
  std::uint8_t ReadEquXYWD(std::uint32_t capacity, char16_t* message, std::int32_t* x, std::int32_t* y,
                           std::int32_t* width, std::int32_t* height);
  std::uint8_t ReadEquBlinkRate(std::uint32_t capacity, char16_t* message, std::uint32_t* rate);
  // Refuses a name that leaves the application's folder.
  std::uint8_t ReadEquFile(std::uint32_t capacity, char16_t* message, std::uint32_t nameCapacity, char16_t* fileName);
  // Appends to the list.
  std::uint8_t ReadEquReceivers(std::uint32_t capacity, char16_t* message, vcom::CList* list);
  // `type` is kReal or kBoolean. *expression stays as it was on failure.
  std::uint8_t ReadEquExpression(std::uint32_t capacity, char16_t* message, hx_expr::TExprTreeRecord** expression,
                                 std::uint32_t type);
  // *indexExpression receives null for an element without an index; an index
  // expression that stood there stays with the host until Done. The last
  // argument is 8.
  std::uint8_t ReadEquDataElement(std::uint32_t capacity, char16_t* message, std::uint64_t* elementId,
                                  hx_expr::TExprTreeRecord** indexExpression, std::uint32_t nameCapacity,
                                  char16_t* elementName, std::uint32_t type, std::uint32_t reserved);
  std::uint8_t IsSystemKeyword(std::uint32_t capacity, const char16_t* keyword, std::uint32_t* code);
  std::uint8_t ReadSystemKeyword(std::uint32_t capacity, char16_t* message, std::uint32_t code);

  // --- Run-time services ---
  // `type` is that of ReadEquExpression. An expression that yields no value
  // (an index out of range, a result that is not finite) gives its last good
  // one, and the host reports the error.
  void EvaluateExpression(hx_expr::TExprTreeRecord* expression, std::uint32_t type, hx_expr::TValue* value);
  // Releases the expression and sets the pointer to null.
  void FreeExpression(hx_expr::TExprTreeRecord** expression);
  // Writes nothing for kNoDataElement.
  void SetDataElement(std::uint64_t elementId, hx_expr::TExprTreeRecord* indexExpression, const hx_expr::TValue* value);
  // Activates the receiver of a list item in this period. The last argument is 0.
  void InstrumentException(std::uint32_t word0, std::uint32_t word1, std::uint32_t reserved);
  // Half periods of `rate` milliseconds; 0 stops blinking.
  void RegisterBlinking(std::uint32_t rate);
  void InstrumentShow();
  void InstrumentHide();

  // --- Fields that the classes use ---
  std::int32_t winWidth;   // pixels
  std::int32_t winHeight;  // pixels
  hx_main::TContext* ctx;  // the application's
  std::uint32_t stateWord;
  std::uint32_t optionWord;
  std::uint32_t attributeWord;
  THostPart* host;       // the host's own
  const char16_t* name;  // of at most 63 characters; the host's

 protected:
  ~CInstrument() = default;
};

// 1 when a candidate procedure name answers to the name asked for.
std::uint8_t Match(std::uint32_t candidateLength, const char16_t* candidate, std::uint32_t nameLength,
                   const char16_t* procedureName);

void Init_();

}  // namespace hx_vinst

#pragma GCC visibility pop

#endif
