// Writing the program of one expression, operation by operation.
#ifndef LOOPBOX_RUNTIME_EXPRESSIONS_PROGRAM_WRITER_H
#define LOOPBOX_RUNTIME_EXPRESSIONS_PROGRAM_WRITER_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/expressions/compiler.h"
#include "runtime/expressions/machine.h"
#include "runtime/text/lexer.h"

namespace runtime {

[[noreturn]] inline void FailTooDeep(std::uint32_t offset) { throw TTextError{offset, "expression nested too deeply"}; }

class CProgramWriter {
 public:
  // What a program has no room for is refused at the lexer's place.
  explicit CProgramWriter(CLexer& text) : lexer(text) {}

  const std::vector<std::uint64_t>& Code() const { return code; }
  const std::vector<std::uint32_t>& IndexMarks() const { return indexMarks; }
  bool IsConstant() const { return isConstant; }  // reads nothing that may change

  // `stackChange` is by how many numbers the operation makes the stack longer.
  void Emit(EOpcode opcode, std::uint64_t operand, int stackChange);
  void EmitConstant(double value);
  void EmitLoad(EOpcode opcode, const void* address);
  // An element of an array of `count` by the index on the stack, whose place is `mark`.
  void EmitIndexedLoad(EOpcode opcode, const void* values, std::uint32_t count, std::uint32_t mark);
  // A jump whose target is not known yet; what to settle it by.
  std::size_t EmitJump(EOpcode opcode);
  void JumpsHere(std::size_t jump);

 private:
  static constexpr std::size_t kNone = ~std::size_t{0};

  void EmitWord(std::uint64_t word);
  static std::uint64_t AddressBits(const void* address) { return std::bit_cast<std::uintptr_t>(address); }

  CLexer& lexer;
  std::vector<std::uint64_t> code;
  std::vector<std::uint32_t> indexMarks;
  bool isConstant = true;
  int depth = 0;  // of the stack, where the program stands
  // Where the load of a real or a constant starts that is the last operation so
  // far, however the program came here.
  std::size_t rightOperand = kNone;
};

inline void CProgramWriter::Emit(EOpcode opcode, std::uint64_t operand, int stackChange) {
  if (rightOperand != kNone && IsBinary(opcode)) {
    // The operation takes its right number from where it would be loaded from.
    const bool isReal = static_cast<EOpcode>(code[rightOperand] & 0xFF) == EOpcode::kLoadReal;
    const EOpcode fused = isReal ? OfReal(opcode) : OfConstant(opcode);
    code[rightOperand] = (code[rightOperand] & ~std::uint64_t{0xFF}) | static_cast<std::uint64_t>(fused);
  } else {
    EmitWord(static_cast<std::uint64_t>(opcode) | operand << 8);
  }
  rightOperand = kNone;
  depth += stackChange;
  if (depth > static_cast<int>(kStackDepth)) FailTooDeep(lexer.Peek().offset);
}

inline void CProgramWriter::EmitConstant(double value) {
  const std::size_t start = code.size();
  Emit(EOpcode::kConstant, 0, 1);
  EmitWord(std::bit_cast<std::uint64_t>(value));
  rightOperand = start;
}

inline void CProgramWriter::EmitLoad(EOpcode opcode, const void* address) {
  const std::size_t start = code.size();
  Emit(opcode, AddressBits(address), 1);
  if (opcode == EOpcode::kLoadReal) rightOperand = start;
  isConstant = false;
}

inline void CProgramWriter::EmitIndexedLoad(EOpcode opcode, const void* values, std::uint32_t count,
                                            std::uint32_t mark) {
  const std::uint64_t ordinal = indexMarks.size();
  indexMarks.push_back(mark);
  Emit(opcode, count | ordinal << 24, 0);
  EmitWord(AddressBits(values));
  isConstant = false;
}

inline std::size_t CProgramWriter::EmitJump(EOpcode opcode) {
  const std::size_t jump = code.size();
  Emit(opcode, 0, -1);
  return jump;
}

inline void CProgramWriter::JumpsHere(std::size_t jump) {
  code[jump] |= static_cast<std::uint64_t>(code.size() - jump) << 8;
  rightOperand = kNone;  // what comes next may have come by the jump
}

inline void CProgramWriter::EmitWord(std::uint64_t word) {
  if (code.size() >= kMaximumProgramLength) throw TTextError{lexer.Peek().offset, "expression too long"};
  code.push_back(word);
}

}  // namespace runtime

#endif
