/* Frames between an importer's process and the process of an instance, over a
   socket pair of one machine: numbers stand in it as in memory.

     uint32 kind, uint32 size of what follows (at most kLargestFrame)

   A request that has an answer is answered by one frame, kHello or kDone. What is
   wrong with a frame ends the conversation. */
#ifndef LOOPBOX_FMU_UNIT_FRAMES_H
#define LOOPBOX_FMU_UNIT_FRAMES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kLargestFrame = 16 << 20, /* bytes behind the head */
  kFrameHead = 8,           /* bytes */
  kMostVariables = 100000,
  kMostMessages = 200, /* in an answer */
  kLargestText = 4000, /* bytes of a message */
};

enum {
  /* Requests. Those with a descriptor bring the socket by which the new process
     answers; the old one answers nothing. */
  kBegin = 1, /* with a descriptor: an instance anew; it answers kHello, or kDone with an error */
  kCopy,      /* with a descriptor: an instance as this one is now; it answers kDone */
  kSetup,     /* double start, double stop (NaN: none); no answer */
  kSet,       /* uint32 count, of each: uint32 reference, double value; no answer: what is wrong
                 with it is told by the next */
  kGet,       /* uint32 count, references: answered with their values */
  kStart,     /* the initialisation is over */
  kStep,      /* double time, double step */
  kFinish,    /* the run is over; values can still be asked for */

  /* Answers. */
  kHello = 100, /* text of the identifier, uint32 count, of each variable: uint8 type, uint8 uses */
  kDone,        /* uint32 status, double time reached, uint32 count of messages, of each: uint32
                   status, text; uint32 count, values: of a kGet those asked for, else of all outputs */
};

/* A status, of a frame or of a message. */
enum { kWell, kDoubtful, kWrong, kNote };

enum { kReal, kInteger, kBoolean }; /* types */

/* Uses of a variable, which may be joined. */
enum {
  kIsOutput = 1,   /* its value stands in each answer */
  kSetBefore = 2,  /* may be set before the first step */
  kSetBetween = 4, /* and between two */
};

typedef struct {
  uint32_t kind;
  uint32_t size;
  const uint8_t* bytes; /* good until the buffer is used again */
} TFrame;

/* What was received and not yet taken. All zero at the beginning but the descriptor,
   which is -1: the last that came, the holder's to close. */
typedef struct {
  uint8_t* bytes;
  size_t capacity;
  size_t begin;
  size_t end;
  int descriptor;
} TFrameBuffer;

/* The frame that these bytes begin with: how many it takes; 0: it isn't whole yet;
   -1: it is none. */
long ParseFrame(const uint8_t* bytes, size_t size, TFrame* frame);

/* 1; 0 when the other side has hung up; -1: what came is no frame, or there is no
   memory. Waits. */
int ReceiveFrame(int channel, TFrameBuffer* buffer, TFrame* frame);
void FreeBuffer(TFrameBuffer* buffer);

/* A frame in the making, or several one behind another. All zero at the beginning. */
typedef struct {
  uint8_t* bytes;
  size_t size;
  size_t capacity;
  size_t frame; /* where the last one begins */
  int failed;   /* there was no memory */
} TFrameWriter;

void BeginFrame(TFrameWriter* writer, uint32_t kind);
void PutByte(TFrameWriter* writer, uint8_t value);
void PutCount(TFrameWriter* writer, uint32_t value);
void PutNumber(TFrameWriter* writer, double value);
void PutText(TFrameWriter* writer, const char* text, size_t size);
/* Sends all frames and empties the writer; with a descriptor unless it is -1. False
   when the other side is gone or a frame has failed. */
int SendFrames(int channel, TFrameWriter* writer, int descriptor);
void FreeWriter(TFrameWriter* writer);

/* Takes a frame's content piece by piece. What lacks is zero, and noted. */
typedef struct {
  const uint8_t* at;
  size_t left;
  int isShort;
} TFrameReader;

TFrameReader ReaderOf(const TFrame* frame);
uint8_t TakeByte(TFrameReader* reader);
uint32_t TakeCount(TFrameReader* reader);
double TakeNumber(TFrameReader* reader);
/* uint32 size and bytes; they stay in the frame. */
const char* TakeText(TFrameReader* reader, size_t* size);
/* Whether that was all, and nothing lacked. */
int IsTaken(const TFrameReader* reader);

#ifdef __cplusplus
}
#endif

#endif
