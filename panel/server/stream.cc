#include "panel/server/stream.h"

#include <algorithm>
#include <cmath>

#include "json/json.h"

namespace panel {
namespace {

constexpr double kBetweenLooks = 0.02;  // seconds: at a frame that is late
constexpr std::size_t kAnswersKept = 256;
constexpr std::size_t kBlock = 1 << 14;  // bytes

std::string EventText(const char* name, const std::string& json) {
  return std::string("event: ") + name + "\ndata: " + json + "\n\n";
}

std::string AnswerText(const TAnswer& answer) {
  return json::CValue({{"number", answer.number},
                       {"done", answer.isDone},
                       {"period", answer.period},
                       {"old", answer.old},
                       {"why", answer.why}})
      .Text();
}

}  // namespace

MHD_Response* CStreams::Open(MHD_Connection* connection, double theNow) {
  now = theNow;
  auto reader = std::make_unique<TReader>();
  reader->streams = this;
  reader->connection = connection;
  // Who comes back hears what was said meanwhile.
  reader->answer = firstAnswer;
  reader->last = now;
  MHD_Response* const response =
      MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, &CStreams::Send, reader.get(), &CStreams::Close);
  if (response != nullptr) readers.push_back(std::move(reader));
  return response;
}

void CStreams::Tell(double theNow) {
  now = theNow;
  if (now >= nextFrame && source.TakeFrame()) {
    ++frame;
    frameText.reset();
    nextFrame = now + kBetweenFrames;
  }
  for (TAnswer answer; source.TakeAnswer(&answer);) {
    answers.push_back(std::make_shared<const std::string>(EventText("answer", AnswerText(answer))));
    if (answers.size() <= kAnswersKept) continue;
    answers.pop_front();
    ++firstAnswer;
  }
  for (const auto& reader : readers) {
    if (!reader->isSuspended || !HasFor(*reader)) continue;
    reader->isSuspended = false;
    MHD_resume_connection(reader->connection);
  }
}

double CStreams::UntilNext(double theNow) const {
  if (!source.IsLive()) return kBetweenComments;
  return readers.empty() ? kBetweenFrames : std::max(kBetweenLooks, nextFrame - theNow);
}

void CStreams::Release() {
  for (const auto& reader : readers) {
    if (reader->isSuspended) MHD_resume_connection(reader->connection);
    reader->isSuspended = false;
  }
}

bool CStreams::HasFor(const TReader& reader) const {
  return reader.answer < firstAnswer + answers.size() || reader.frame < frame || now - reader.last >= kBetweenComments;
}

CStreams::TText CStreams::NextOf(TReader& reader) {
  reader.answer = std::max(reader.answer, firstAnswer);  // the slowest miss some
  if (reader.answer < firstAnswer + answers.size()) return answers[reader.answer++ - firstAnswer];
  if (reader.frame < frame) {
    reader.frame = frame;
    if (frameText == nullptr) frameText = std::make_shared<const std::string>(EventText("frame", source.Frame()));
    return frameText;
  }
  static const TText comment = std::make_shared<const std::string>(": so that nobody takes it for lost\n\n");
  return now - reader.last >= kBetweenComments ? comment : nullptr;
}

ssize_t CStreams::Send(void* opaque, std::uint64_t, char* buffer, std::size_t most) {
  TReader& reader = *static_cast<TReader*>(opaque);
  if (reader.text == nullptr) {
    reader.text = reader.streams->NextOf(reader);
    reader.sent = 0;
  }
  if (reader.text == nullptr) {
    reader.isSuspended = true;
    MHD_suspend_connection(reader.connection);
    return 0;
  }
  const std::size_t count = std::min(most, reader.text->size() - reader.sent);
  std::copy_n(reader.text->data() + reader.sent, count, buffer);
  reader.sent += count;
  reader.last = reader.streams->now;
  if (reader.sent == reader.text->size()) reader.text.reset();
  return static_cast<ssize_t>(count);
}

void CStreams::Close(void* opaque) {
  auto& readers = static_cast<TReader*>(opaque)->streams->readers;
  readers.erase(
      std::find_if(readers.begin(), readers.end(), [opaque](const auto& each) { return each.get() == opaque; }));
}

}  // namespace panel
