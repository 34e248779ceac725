/* An instance as the importer's process holds it: the processes that act for it, and
   the conversation with them.

   Of each instance there is a nest, a process that holds nothing and makes others, and
   one worker, which holds the application. A state that the importer keeps is a copy
   of the worker at rest. All are children of the nest, which ends when the importer's
   process ends or lets it go; they end with the nest. */
#ifndef LOOPBOX_FMU_UNIT_INSTANCE_H
#define LOOPBOX_FMU_UNIT_INSTANCE_H

#include <sys/types.h>

#include "fmu/unit/fmi2.h"
#include "fmu/unit/frames.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  kNew,          /* behind fmi2Instantiate or fmi2Reset */
  kInitialising, /* between entering and leaving the initialisation mode */
  kStepping,
  kTerminated,
  kDead, /* a process of it is gone */
} EStage;

typedef struct TState {
  int channel; /* of the copy at rest */
  EStage stage;
  double time;
  struct TState* next;
} TState;

typedef struct {
  uint8_t type;
  uint8_t uses;
  uint32_t output; /* its place among the outputs */
} TVariable;

typedef struct {
  fmi2CallbackFunctions callbacks;
  char* name;
  char* guid;
  int logsAll; /* not errors alone */
  pid_t nest;  /* -1: none */
  int nursery; /* the nest's channel */
  int channel; /* the worker's; -1: none */
  EStage stage;
  int isSetUp;    /* fmi2SetupExperiment was called */
  double time;    /* reached */
  uint32_t count; /* of variables; their references are their places */
  TVariable* variables;
  double* outputs; /* as the last answer had them */
  uint32_t outputCount;
  TFrameBuffer received;
  TFrameWriter writer;
  TFrameWriter pending; /* what was set and not told yet */
  uint32_t pendingCount;
  TState* states;
} TInstance;

/* A message to the importer: errors always, all others when it wants them. */
void Tell(const TInstance* instance, fmi2Status status, const char* text);

/* Starts the nest and the first worker of the unit whose resources stand in the
   folder. Null when it can't, which is told. */
TInstance* StartInstance(const char* name, const char* guid, const char* folder, const fmi2CallbackFunctions* callbacks,
                         int logsAll);
void EndInstance(TInstance* instance);

/* A new worker in the place of the present one. */
fmi2Status RestartWorker(TInstance* instance);

/* Keeps a value to be told with the next request. */
fmi2Status SetLater(TInstance* instance, uint32_t reference, double value);
/* Sends the request in `writer`, behind what is pending, and takes the answer; the
   `count` values asked for go to `values`. */
fmi2Status Ask(TInstance* instance, uint32_t count, double* values);

/* A copy of the worker, at rest. Null when it can't be made. */
TState* KeepState(TInstance* instance);
fmi2Status ReturnToState(TInstance* instance, const TState* state);
void DropState(TInstance* instance, TState* state);

#ifdef __cplusplus
}
#endif

#endif
