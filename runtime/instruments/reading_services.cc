// The services with which an instrument reads its definition. What the lexer
// and the compilers throw ends here: it becomes a message and its place.
#include <algorithm>
#include <limits>

#include "host/gaugekit.h"
#include "runtime/expressions/machine.h"
#include "runtime/instruments/application_state.h"
#include "runtime/platform/capacities.h"
#include "runtime/text/near_names.h"
#include "runtime/text/wide_text.h"

namespace runtime {

void Complain(TReading& reading, std::uint32_t capacity, char16_t* message, const TTextError& error) {
  std::u16string text = Utf16(error.message);
  if (text.size() > capacity) text.resize(capacity);
  runlib::WStrAssign(capacity, message, static_cast<std::uint32_t>(text.size()), text.c_str());
  reading.complaint = std::move(text);
  reading.complaintOffset = error.offset;
}

hx_expr::TExprTreeRecord* CompileHeld(hx_vinst::CInstrument& instrument, EType type) {
  TApplicationState& application = ApplicationOf(instrument.ctx);
  TExpression compiled = application.expressions.Compile(*application.reading.lexer, application.data, type);
  if (instrument.host != nullptr) instrument.host->expressions.push_back(compiled.get());
  return compiled.release();
}

}  // namespace runtime

namespace hx_vinst {

namespace {

using runtime::ApplicationOf;
using runtime::CLexer;
using runtime::ELexeme;
using runtime::TLexeme;

// For whoever writes the plug-in: a reserved argument has another value than told.
constexpr const char* kWrongCall = "a service is called in another way than it is offered";

// Runs one service.
template <typename TService>
std::uint8_t Serve(CInstrument& instrument, std::uint32_t capacity, char16_t* message, TService service) {
  runtime::TReading& reading = ApplicationOf(instrument.ctx).reading;
  runtime::TTextError error;
  if (reading.lexer == nullptr) {
    error = {0, "nothing is being read"};
  } else {
    try {
      service(reading);
      return 1;
    } catch (runtime::TTextError& thrown) {
      error = std::move(thrown);
    }
  }
  runtime::Complain(reading, capacity, message, error);
  return 0;
}

// Takes the mark of a value about to be read, which is also the place of what
// may turn out to be wrong with it.
std::uint32_t MarkNext(runtime::TReading& reading) { return reading.last = reading.lexer->Peek().offset; }

std::int64_t ReadWhole(runtime::TReading& reading, std::uint32_t* mark, std::int64_t low, std::int64_t high) {
  const std::uint32_t place = MarkNext(reading);
  const std::int64_t value = reading.lexer->ExpectInteger(low, high);
  if (mark != nullptr) *mark = place;
  return value;
}

std::int32_t ReadInt32(runtime::TReading& reading, std::uint32_t* mark = nullptr) {
  return static_cast<std::int32_t>(
      ReadWhole(reading, mark, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

std::uint32_t ReadUint32(runtime::TReading& reading, std::uint32_t* mark = nullptr) {
  return static_cast<std::uint32_t>(ReadWhole(reading, mark, 0, std::numeric_limits<std::uint32_t>::max()));
}

void CheckLength(const std::u16string& wide, std::uint32_t capacity, const runtime::TReading& reading) {
  if (wide.size() <= capacity) return;
  throw runtime::TTextError{reading.last, "text of more than " + std::to_string(capacity) + " characters"};
}

void AssignText(runtime::TReading& reading, const std::string& text, std::uint32_t capacity, char16_t* destination) {
  const std::u16string wide = runtime::Utf16(text);
  CheckLength(wide, capacity, reading);
  runlib::WStrAssign(capacity, destination, static_cast<std::uint32_t>(wide.size()), wide.c_str());
}

std::string ReadText(runtime::TReading& reading) {
  MarkNext(reading);
  return reading.lexer->ExpectString();
}

runtime::EType TypeOf(std::uint32_t code) {
  return code == hx_expr::kBoolean ? runtime::EType::kBoolean : runtime::EType::kReal;
}

// The unit of the element that an expression consists of; none when it is
// more than one element's name.
std::string UnitOfPlainElement(runtime::TApplicationState& application) {
  CLexer& lexer = *application.reading.lexer;
  const std::uint32_t start = lexer.Offset();
  const TLexeme first = lexer.Next();
  const bool plain = first.kind == ELexeme::kIdentifier && (lexer.Peek().Is(";") || lexer.Peek().Is("["));
  lexer.Seek(start);
  const std::int32_t element = plain ? application.data.Find(first.text) : -1;
  return element < 0 ? std::string() : application.data[element].unit;
}

}  // namespace

std::uint8_t CInstrument::ReadToken(std::uint32_t capacity, char16_t* message, vtape::TToken* token,
                                    std::uint32_t reserved) {
  // Every definition comes to its end: that is nothing to throw for.
  bool ended = false;
  const std::uint8_t served = Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    const TLexeme& lexeme = reading.lexer->Peek();
    if (reserved != 0) throw runtime::TTextError{lexeme.offset, kWrongCall};
    ended = lexeme.offset >= reading.end;
    if (ended) return;
    reading.last = lexeme.offset;
    const std::u16string text =
        runtime::Utf16(lexeme.kind == ELexeme::kString ? std::string_view(lexeme.string) : lexeme.text.substr(0, 4096));
    runlib::WStrAssign(runtime::kTokenCapacity, reading.token, static_cast<std::uint32_t>(text.size()), text.c_str());
    token->kind = lexeme.kind == ELexeme::kIdentifier ? vtape::kTokenIdentifier
                  : lexeme.kind == ELexeme::kNumber   ? vtape::kTokenNumber
                  : lexeme.kind == ELexeme::kString   ? vtape::kTokenString
                                                      : vtape::kTokenPunctuation;
    token->text = reading.token;
    reading.lexer->Skip();
  });
  if (!ended) return served;
  runtime::TReading& reading = ApplicationOf(ctx).reading;
  reading.ended = true;
  Complain(reading, capacity, message, {reading.end, "unexpected end of the definition"});
  return 0;
}

std::uint8_t CInstrument::ReadEqu(std::uint32_t capacity, char16_t* message) {
  return Serve(*this, capacity, message, [](runtime::TReading& reading) { reading.lexer->Expect("="); });
}

std::uint8_t CInstrument::ReadSemicolon(std::uint32_t capacity, char16_t* message) {
  return Serve(*this, capacity, message, [](runtime::TReading& reading) { reading.lexer->Expect(";"); });
}

std::uint8_t CInstrument::ReadInteger(std::uint32_t capacity, char16_t* message, std::int32_t* value,
                                      std::uint32_t* mark) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) { *value = ReadInt32(reading, mark); });
}

std::uint8_t CInstrument::ReadCardinal(std::uint32_t capacity, char16_t* message, std::uint32_t* value,
                                       std::uint32_t* mark) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) { *value = ReadUint32(reading, mark); });
}

std::uint8_t CInstrument::ReadReal(std::uint32_t capacity, char16_t* message, double* value, std::uint32_t* mark) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    const std::uint32_t place = MarkNext(reading);
    *value = reading.lexer->ExpectReal();
    *mark = place;
  });
}

std::uint8_t CInstrument::ReadBoolean(std::uint32_t capacity, char16_t* message, std::uint8_t* value,
                                      std::uint32_t* mark) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    const std::uint32_t place = MarkNext(reading);
    *value = reading.lexer->ExpectBoolean() ? 1 : 0;
    *mark = place;
  });
}

std::uint8_t CInstrument::ReadString(std::uint32_t capacity, char16_t* message, std::uint32_t textCapacity,
                                     char16_t* text, std::uint32_t* mark) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    AssignText(reading, ReadText(reading), textCapacity, text);
    *mark = reading.last;
  });
}

std::uint8_t CInstrument::ReadEquColor(std::uint32_t capacity, char16_t* message, std::uint32_t* color) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    reading.lexer->Expect("=");
    MarkNext(reading);
    if (reading.lexer->Peek().kind != ELexeme::kColor) reading.lexer->FailExpected("a colour, #RRGGBB");
    const std::uint32_t rgb = static_cast<std::uint32_t>(reading.lexer->Next().integer);
    reading.lexer->Expect(";");
    *color = (rgb >> 16 & 0xFF) | (rgb & 0xFF00) | (rgb & 0xFF) << 16;
  });
}

std::uint8_t CInstrument::ReadEquFont(std::uint32_t capacity, char16_t* message, vgr::TFontInfoEx* font,
                                      std::uint32_t* handle) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    vgr::TFontInfoEx read = {};
    reading.lexer->Expect("=");
    AssignText(reading, ReadText(reading), 31, read.family);
    reading.lexer->Expect(",");
    read.size = static_cast<std::uint32_t>(ReadWhole(reading, nullptr, 1, 500));
    while (reading.lexer->TakeIf(",")) {
      if (reading.lexer->TakeIf("bold")) {
        read.bold = 1;
      } else if (reading.lexer->TakeIf("italic")) {
        read.italic = 1;
      } else {
        reading.lexer->FailExpected("bold or italic");
      }
    }
    reading.lexer->Expect(";");
    *font = read;
    *handle = 1;
  });
}

std::uint8_t CInstrument::ReadEquXYWD(std::uint32_t capacity, char16_t* message, std::int32_t* x, std::int32_t* y,
                                      std::int32_t* width, std::int32_t* height) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    std::int32_t read[4];
    reading.lexer->Expect("=");
    for (int i = 0; i < 4; ++i) {
      if (i > 0) reading.lexer->Expect(",");
      read[i] = ReadInt32(reading);
    }
    reading.lexer->Expect(";");
    *x = read[0];
    *y = read[1];
    *width = read[2];
    *height = read[3];
    reading.instrument->isPlaced = true;
  });
}

std::uint8_t CInstrument::ReadEquBlinkRate(std::uint32_t capacity, char16_t* message, std::uint32_t* rate) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    reading.lexer->Expect("=");
    const std::uint32_t read = ReadUint32(reading);
    reading.lexer->Expect(";");
    *rate = read;
  });
}

std::uint8_t CInstrument::ReadEquFile(std::uint32_t capacity, char16_t* message, std::uint32_t nameCapacity,
                                      char16_t* fileName) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    reading.lexer->Expect("=");
    const std::string read = ReadText(reading);
    if (read.empty()) throw runtime::TTextError{reading.last, "expected the name of a file"};
    const char* const problem = runtime::ProblemOfName(ApplicationOf(ctx).files, runtime::Utf16(read));
    if (problem != nullptr) throw runtime::TTextError{reading.last, problem};
    AssignText(reading, read, nameCapacity, fileName);
    reading.lexer->Expect(";");
    reading.instrument->files.push_back(read);
  });
}

std::uint8_t CInstrument::ReadEquReceivers(std::uint32_t capacity, char16_t* message, vcom::CList* list) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    runtime::TApplicationState& application = ApplicationOf(ctx);
    reading.lexer->Expect("=");
    if (host != nullptr &&
        std::find(host->receiverLists.begin(), host->receiverLists.end(), list) == host->receiverLists.end()) {
      host->receiverLists.push_back(list);
    }
    do {
      MarkNext(reading);
      const TLexeme receiver = reading.lexer->ExpectIdentifier("the name of an instrument");
      const auto found = application.instrumentByName.find(std::string(receiver.text));
      if (found == application.instrumentByName.end()) {
        runtime::CNearNames near(receiver.text);
        for (const runtime::TInstrumentState& known : application.instruments) near.Offer(known.name);
        throw runtime::TTextError{receiver.offset,
                                  "there is no instrument '" + std::string(receiver.text) + "'" + near.Question()};
      }
      void* block = nullptr;
      runlib::MemAllocate(&block, sizeof(vcom::TListItem));
      if (block == nullptr) throw runtime::TTextError{receiver.offset, "out of memory"};
      const std::uint32_t number = static_cast<std::uint32_t>(found->second);
      vcom::TListItem* item = new (block) vcom::TListItem{{number, ~number}, nullptr};
      (list->last == nullptr ? list->first : list->last->next) = item;
      list->last = item;
      reading.instrument->receivers.push_back(found->second);
    } while (reading.lexer->TakeIf(","));
    reading.lexer->Expect(";");
  });
}

std::uint8_t CInstrument::ReadEquExpression(std::uint32_t capacity, char16_t* message,
                                            hx_expr::TExprTreeRecord** expression, std::uint32_t type) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    runtime::TApplicationState& application = ApplicationOf(ctx);
    reading.lexer->Expect("=");
    MarkNext(reading);
    std::string& quantityUnit = reading.instrument->quantityUnit;
    std::string unit = type == hx_expr::kReal && quantityUnit.empty() ? UnitOfPlainElement(application) : "";
    hx_expr::TExprTreeRecord* compiled = runtime::CompileHeld(*this, TypeOf(type));
    try {
      reading.lexer->Expect(";");
    } catch (...) {
      FreeExpression(&compiled);
      throw;
    }
    if (!unit.empty()) quantityUnit = std::move(unit);
    *expression = compiled;
  });
}

std::uint8_t CInstrument::ReadEquDataElement(std::uint32_t capacity, char16_t* message, std::uint64_t* elementId,
                                             hx_expr::TExprTreeRecord** indexExpression, std::uint32_t nameCapacity,
                                             char16_t* elementName, std::uint32_t type, std::uint32_t reserved) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    runtime::TApplicationState& application = ApplicationOf(ctx);
    reading.lexer->Expect("=");
    MarkNext(reading);
    const TLexeme read = reading.lexer->ExpectIdentifier("the name of a data element");
    if (reserved != 8 || nameCapacity != runtime::kNameCapacity) throw runtime::TTextError{read.offset, kWrongCall};
    const std::string spelling(read.text);
    const std::int32_t index = application.data.Find(read.text);
    if (index < 0)
      throw runtime::TTextError{read.offset,
                                "there is no data element '" + spelling + "'" + application.data.MeantBy(spelling)};
    const runtime::TDataElement& element = application.data[index];
    if (element.type != TypeOf(type)) {
      throw runtime::TTextError{read.offset, "the output must be " + std::string(runtime::TypeName(TypeOf(type))) +
                                                 "; '" + spelling + "' is " + runtime::TypeName(element.type)};
    }
    if (element.writtenByProcess) {
      throw runtime::TTextError{read.offset, "'" + spelling + "' is computed by the process"};
    }
    if (reading.lexer->Peek().Is("[") != element.isArray) {
      throw runtime::TTextError{
          read.offset, "'" + spelling + (element.isArray ? "' is an array and needs an index" : "' is not an array")};
    }
    hx_expr::TExprTreeRecord* compiled = nullptr;
    try {
      if (reading.lexer->TakeIf("[")) {
        compiled = runtime::CompileHeld(*this, runtime::EType::kReal);
        reading.lexer->Expect("]");
      }
      reading.lexer->Expect(";");
    } catch (...) {
      FreeExpression(&compiled);
      throw;
    }
    if (reading.instrument->outputUnit.empty()) reading.instrument->outputUnit = element.unit;
    application.data.SetOutput(index);
    *elementId = static_cast<std::uint32_t>(index);
    *indexExpression = compiled;
    reading.output = index;
    reading.outputIndex = compiled;
    if (compiled == nullptr || compiled->isConstant) {
      std::uint32_t item = 0;
      if (compiled == nullptr || runtime::ToIndex(runtime::Evaluate(compiled).value, element.count, &item)) {
        reading.instrument->outputItems.push_back({static_cast<std::size_t>(index), item});
      }
    }
    const std::u16string wide = runtime::Utf16(spelling);
    runlib::WStrAssign(nameCapacity, elementName, static_cast<std::uint32_t>(wide.size()), wide.c_str());
  });
}

namespace {

// The keywords that are the same for every instrument.
struct TSystemKeyword {
  std::u16string_view keyword;
  void (*read)(CInstrument& instrument, runtime::TReading& reading);
};

constexpr std::int32_t kMaximumWindow = 1 << 20;  // pixels

// The host's part in the instrument's output, made where there is none yet.
runtime::COutputHost& OutputOf(CInstrument& instrument, const runtime::TReading& reading) {
  std::unique_ptr<runtime::COutputHost>& output = instrument.host->output;
  if (!runtime::COutputHost::HasOutput(instrument)) {
    throw runtime::TTextError{reading.last, "an instrument of this class has no output that could be another"};
  }
  if (output == nullptr) output = std::make_unique<runtime::COutputHost>(instrument);
  return *output;
}

template <void (runtime::COutputHost::*kRead)(runtime::TReading&)>
void ReadOutputPart(CInstrument& instrument, runtime::TReading& reading) {
  (OutputOf(instrument, reading).*kRead)(reading);
}

constexpr TSystemKeyword kSystemKeywords[] = {
    {u"window",
     [](CInstrument& instrument, runtime::TReading& reading) {
       reading.lexer->Expect("=");
       const std::int64_t width = ReadWhole(reading, nullptr, 0, kMaximumWindow);
       reading.lexer->Expect(",");
       const std::int64_t height = ReadWhole(reading, nullptr, 0, kMaximumWindow);
       instrument.winWidth = static_cast<std::int32_t>(width);
       instrument.winHeight = static_cast<std::int32_t>(height);
     }},
    {u"title",
     [](CInstrument&, runtime::TReading& reading) {
       reading.lexer->Expect("=");
       std::string title = ReadText(reading);
       CheckLength(runtime::Utf16(title), runtime::kTextCapacity, reading);
       reading.instrument->title = std::move(title);
     }},
    {u"always_activate",
     [](CInstrument& instrument, runtime::TReading&) { instrument.stateWord |= kStateActivateAlways; }},
    {u"track", ReadOutputPart<&runtime::COutputHost::ReadTrack>},
    {u"track_when", ReadOutputPart<&runtime::COutputHost::ReadTrackWhen>},
    {u"follow", ReadOutputPart<&runtime::COutputHost::ReadFollow>},
    {u"start", ReadOutputPart<&runtime::COutputHost::ReadStart>},
    {u"guard", ReadOutputPart<&runtime::COutputHost::ReadGuard>},
    {u"keep",
     [](CInstrument& instrument, runtime::TReading& reading) {
       reading.lexer->Expect("=");
       MarkNext(reading);
       instrument.host->keeps = reading.lexer->ExpectBoolean();
     }},
};

}  // namespace

std::uint8_t CInstrument::IsSystemKeyword(std::uint32_t capacity, const char16_t* keyword, std::uint32_t* code) {
  for (std::uint32_t i = 0; i < std::size(kSystemKeywords); ++i) {
    const std::u16string_view known = kSystemKeywords[i].keyword;
    if (runlib::WStrCompare(capacity, keyword, static_cast<std::uint32_t>(known.size()), known.data()) == 0) {
      *code = i;
      return 1;
    }
  }
  return 0;
}

std::uint8_t CInstrument::ReadSystemKeyword(std::uint32_t capacity, char16_t* message, std::uint32_t code) {
  return Serve(*this, capacity, message, [&](runtime::TReading& reading) {
    if (code >= std::size(kSystemKeywords)) throw runtime::TTextError{reading.last, "no such system keyword"};
    kSystemKeywords[code].read(*this, reading);
    reading.lexer->Expect(";");
  });
}

}  // namespace hx_vinst
