// Numbers as the host's own parts print them.
#ifndef LOOPBOX_RUNTIME_TEXT_NUMBER_FORMAT_H
#define LOOPBOX_RUNTIME_TEXT_NUMBER_FORMAT_H

#include <cstddef>
#include <string>

namespace runtime {

// The shortest decimal that reads back as the same double; "-0" for the
// negative zero, "nan", "inf" and "-inf".
std::string ShortestNumber(double value);
void AppendShortest(double value, std::string* text);
// The same into a buffer with room for kShortestLength characters; yields the
// end of what it wrote.
constexpr std::size_t kShortestLength = 24;
char* PutShortest(double value, char* text);

}  // namespace runtime

#endif
