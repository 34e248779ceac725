#include "fmu/unit/frames.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

enum { kFirstRoom = 4096 };

long ParseFrame(const uint8_t* bytes, size_t size, TFrame* frame) {
  if (size < kFrameHead) return 0;
  memcpy(&frame->kind, bytes, sizeof(frame->kind));
  memcpy(&frame->size, bytes + sizeof(frame->kind), sizeof(frame->size));
  if (frame->size > kLargestFrame) return -1;
  if (size - kFrameHead < frame->size) return 0;
  frame->bytes = bytes + kFrameHead;
  return kFrameHead + (long)frame->size;
}

/* Room for `more` bytes behind `used` of them; false: there is none. */
static int MakeRoom(uint8_t** bytes, size_t* capacity, size_t used, size_t more) {
  if (*capacity - used >= more) return 1;
  size_t wanted = *capacity == 0 ? kFirstRoom : *capacity;
  while (wanted - used < more) wanted *= 2;
  uint8_t* const moved = realloc(*bytes, wanted);
  if (moved == NULL) return 0;
  *bytes = moved;
  *capacity = wanted;
  return 1;
}

static void KeepDescriptors(struct msghdr* message, TFrameBuffer* buffer) {
  for (struct cmsghdr* part = CMSG_FIRSTHDR(message); part != NULL; part = CMSG_NXTHDR(message, part)) {
    if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
    const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (size_t i = 0; i < count; ++i) {
      if (buffer->descriptor >= 0) close(buffer->descriptor);
      memcpy(&buffer->descriptor, CMSG_DATA(part) + i * sizeof(int), sizeof(int));
    }
  }
}

int ReceiveFrame(int channel, TFrameBuffer* buffer, TFrame* frame) {
  if (buffer->bytes == NULL && !MakeRoom(&buffer->bytes, &buffer->capacity, 0, kFirstRoom)) return -1;
  for (;;) {
    const long taken = ParseFrame(buffer->bytes + buffer->begin, buffer->end - buffer->begin, frame);
    if (taken < 0) return -1;
    if (taken > 0) {
      buffer->begin += (size_t)taken;
      return 1;
    }
    if (buffer->begin > 0) memmove(buffer->bytes, buffer->bytes + buffer->begin, buffer->end - buffer->begin);
    buffer->end -= buffer->begin;
    buffer->begin = 0;
    if (!MakeRoom(&buffer->bytes, &buffer->capacity, buffer->end, kFirstRoom)) return -1;
    struct iovec room = {buffer->bytes + buffer->end, buffer->capacity - buffer->end};
    union {
      struct cmsghdr head;
      char bytes[CMSG_SPACE(sizeof(int))];
    } control;
    struct msghdr message = {0};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    message.msg_control = control.bytes;
    message.msg_controllen = sizeof(control.bytes);
    const ssize_t received = recvmsg(channel, &message, MSG_CMSG_CLOEXEC);
    if (received < 0 && errno == EINTR) continue;
    if (received <= 0) return 0;
    KeepDescriptors(&message, buffer);
    buffer->end += (size_t)received;
  }
}

void FreeBuffer(TFrameBuffer* buffer) {
  free(buffer->bytes);
  if (buffer->descriptor >= 0) close(buffer->descriptor);
  memset(buffer, 0, sizeof(*buffer));
  buffer->descriptor = -1;
}

static void Put(TFrameWriter* writer, const void* bytes, size_t size) {
  if (size == 0 || writer->failed) return;
  if (!MakeRoom(&writer->bytes, &writer->capacity, writer->size, size)) {
    writer->failed = 1;
    return;
  }
  memcpy(writer->bytes + writer->size, bytes, size);
  writer->size += size;
  if (writer->size - writer->frame < kFrameHead) return;
  const uint32_t inside = (uint32_t)(writer->size - writer->frame - kFrameHead);
  if (inside > kLargestFrame) writer->failed = 1;
  memcpy(writer->bytes + writer->frame + sizeof(uint32_t), &inside, sizeof(inside));
}

void BeginFrame(TFrameWriter* writer, uint32_t kind) {
  const uint32_t head[2] = {kind, 0};
  writer->frame = writer->size;
  Put(writer, head, sizeof(head));
}

void PutByte(TFrameWriter* writer, uint8_t value) { Put(writer, &value, sizeof(value)); }
void PutCount(TFrameWriter* writer, uint32_t value) { Put(writer, &value, sizeof(value)); }
void PutNumber(TFrameWriter* writer, double value) { Put(writer, &value, sizeof(value)); }

void PutText(TFrameWriter* writer, const char* text, size_t size) {
  const size_t kept = size > kLargestText ? kLargestText : size;
  PutCount(writer, (uint32_t)kept);
  Put(writer, text, kept);
}

int SendFrames(int channel, TFrameWriter* writer, int descriptor) {
  union {
    struct cmsghdr head;
    char bytes[CMSG_SPACE(sizeof(int))];
  } control;
  int isSent = !writer->failed;
  for (size_t sent = 0; isSent && sent < writer->size;) {
    struct iovec left = {writer->bytes + sent, writer->size - sent};
    struct msghdr message = {0};
    message.msg_iov = &left;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
      message.msg_control = control.bytes;
      message.msg_controllen = sizeof(control.bytes);
      struct cmsghdr* const part = CMSG_FIRSTHDR(&message);
      part->cmsg_level = SOL_SOCKET;
      part->cmsg_type = SCM_RIGHTS;
      part->cmsg_len = CMSG_LEN(sizeof(int));
      memcpy(CMSG_DATA(part), &descriptor, sizeof(int));
    }
    const ssize_t now = sendmsg(channel, &message, MSG_NOSIGNAL);
    if (now < 0 && errno == EINTR) continue;
    isSent = now > 0;
    if (now > 0) sent += (size_t)now;
    descriptor = -1;
  }
  writer->size = writer->frame = 0;
  writer->failed = 0;
  return isSent;
}

void FreeWriter(TFrameWriter* writer) {
  free(writer->bytes);
  memset(writer, 0, sizeof(*writer));
}

TFrameReader ReaderOf(const TFrame* frame) {
  const TFrameReader reader = {frame->bytes, frame->size, 0};
  return reader;
}

static void Take(TFrameReader* reader, void* value, size_t size) {
  memset(value, 0, size);
  if (reader->left < size) {
    reader->left = 0;
    reader->isShort = 1;
    return;
  }
  memcpy(value, reader->at, size);
  reader->at += size;
  reader->left -= size;
}

uint8_t TakeByte(TFrameReader* reader) {
  uint8_t value;
  Take(reader, &value, sizeof(value));
  return value;
}

uint32_t TakeCount(TFrameReader* reader) {
  uint32_t value;
  Take(reader, &value, sizeof(value));
  return value;
}

double TakeNumber(TFrameReader* reader) {
  double value;
  Take(reader, &value, sizeof(value));
  return value;
}

const char* TakeText(TFrameReader* reader, size_t* size) {
  *size = TakeCount(reader);
  if (*size > reader->left) {
    *size = reader->left;
    reader->isShort = 1;
  }
  const char* const text = (const char*)reader->at;
  reader->at += *size;
  reader->left -= *size;
  return text;
}

int IsTaken(const TFrameReader* reader) { return !reader->isShort && reader->left == 0; }
