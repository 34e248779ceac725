#define _GNU_SOURCE
#include "fmu/unit/instance.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

enum { kNestChannel = 3, kMostPending = 4096 };

static const char kProgram[] = "loopbox-fmu";
static const char kEnded[] = "the process of the instance has ended: it was killed, or it crashed";
static const char kNoAnswer[] = "the process of the instance answers what is no answer";
static const char kCategories[][16] = {"logStatusNote", "logStatusWarn", "logStatusDiscard", "logStatusError",
                                       "logStatusFatal"};

void Tell(const TInstance* instance, fmi2Status status, const char* text) {
  if (instance->callbacks.logger == NULL || (status < fmi2Error && !instance->logsAll)) return;
  instance->callbacks.logger(instance->callbacks.componentEnvironment, instance->name, status, kCategories[status],
                             "%s", text);
}

static fmi2Status Lose(TInstance* instance, const char* text) {
  if (instance->stage != kDead) Tell(instance, fmi2Fatal, text);
  instance->stage = kDead;
  return fmi2Fatal;
}

/* --- The processes ------------------------------------------------------------- */

/* A path by which the program can be run, wherever an importer unpacked it: archives
   lose the right to run a file, and some folders allow none to be. In the latter cases
   *copy is a descriptor of a copy in memory. False with errno. */
static int FindProgram(const char* folder, char* path, size_t size, int* copy) {
  *copy = -1;
  const int length = snprintf(path, size, "%s/%s", folder, kProgram);
  if (length < 0 || (size_t)length >= size) {
    errno = ENAMETOOLONG;
    return 0;
  }
  if (access(path, X_OK) == 0) return 1;
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  struct stat found;
  if (file < 0 || fstat(file, &found) != 0) {
    if (file >= 0) close(file);
    return 0;
  }
  *copy = memfd_create(kProgram, MFD_CLOEXEC);
  off_t done = 0;
  while (*copy >= 0 && done < found.st_size) {
    if (sendfile(*copy, file, &done, (size_t)(found.st_size - done)) <= 0) break;
  }
  close(file);
  snprintf(path, size, "/proc/self/fd/%d", *copy);
  return *copy >= 0 && done == found.st_size;
}

/* Runs the nest, whose channel is `theirs`. In a group of its own it is out of a
   terminal's reach, and ends when the importer does. An errno, or 0. */
static int Spawn(const char* folder, int theirs, pid_t* id) {
  char path[4200];
  int copy = -1;
  if (!FindProgram(folder, path, sizeof(path), &copy)) {
    const int problem = errno;
    if (copy >= 0) close(copy);
    return problem;
  }
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  sigset_t none;
  sigset_t all;
  sigemptyset(&none);
  sigfillset(&all);
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, theirs, kNestChannel);
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  char* const arguments[] = {(char*)kProgram, (char*)folder, NULL};
  extern char** environ;
  const int problem = posix_spawn(id, path, &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (copy >= 0) close(copy);
  return problem;
}

/* --- Answers ------------------------------------------------------------------- */

static fmi2Status StatusOf(uint32_t status) {
  return status == kWrong ? fmi2Error : status == kDoubtful ? fmi2Warning : fmi2OK;
}

/* Yields the answer's status; values go to `values`, or are the outputs'. */
static fmi2Status TakeDone(TInstance* instance, const TFrame* frame, uint32_t count, double* values) {
  char text[kLargestText + 1];
  TFrameReader reader = ReaderOf(frame);
  const fmi2Status status = StatusOf(TakeCount(&reader));
  instance->time = TakeNumber(&reader);
  for (uint32_t left = TakeCount(&reader); left > 0 && !reader.isShort; --left) {
    const fmi2Status kind = StatusOf(TakeCount(&reader));
    size_t size = 0;
    const char* const said = TakeText(&reader, &size);
    if (size > kLargestText) size = kLargestText;
    memcpy(text, said, size);
    text[size] = 0;
    Tell(instance, kind, text);
  }
  const uint32_t sent = TakeCount(&reader);
  if (values == NULL) {
    count = sent == 0 ? 0 : instance->outputCount;
    values = instance->outputs;
  }
  if (sent == count || status == fmi2Error) {
    for (uint32_t i = 0; i < sent && i < count; ++i) values[i] = TakeNumber(&reader);
    if (IsTaken(&reader)) return status;
  }
  return Lose(instance, kNoAnswer);
}

static fmi2Status TakeHello(TInstance* instance, const TFrame* frame) {
  TFrameReader reader = ReaderOf(frame);
  size_t size = 0;
  const char* const own = TakeText(&reader, &size);
  if (strlen(instance->guid) != size || memcmp(instance->guid, own, size) != 0) {
    Tell(instance, fmi2Error, "the GUID is not that of this unit");
    return fmi2Error;
  }
  const uint32_t count = TakeCount(&reader);
  free(instance->variables);
  free(instance->outputs);
  instance->count = instance->outputCount = 0;
  instance->variables = count <= kMostVariables ? calloc(count + 1, sizeof(TVariable)) : NULL;
  instance->outputs = count <= kMostVariables ? calloc(count + 1, sizeof(double)) : NULL;
  if (instance->variables == NULL || instance->outputs == NULL) {
    return Lose(instance, "the variables of the unit have no room");
  }
  instance->count = count;
  for (uint32_t i = 0; i < instance->count; ++i) {
    TVariable* const variable = &instance->variables[i];
    variable->type = TakeByte(&reader);
    variable->uses = TakeByte(&reader);
    if (variable->uses & kIsOutput) variable->output = instance->outputCount++;
  }
  return IsTaken(&reader) ? fmi2OK : Lose(instance, kNoAnswer);
}

static fmi2Status Answer(TInstance* instance, uint32_t count, double* values) {
  TFrame frame;
  const int received = ReceiveFrame(instance->channel, &instance->received, &frame);
  if (received == 0) {
    return Lose(instance, kEnded);
  }
  if (received > 0 && frame.kind == kHello) return TakeHello(instance, &frame);
  if (received > 0 && frame.kind == kDone) return TakeDone(instance, &frame, count, values);
  return Lose(instance, kNoAnswer);
}

/* --- Requests ------------------------------------------------------------------ */

/* Yields our end of a channel to a new process, which who listens at `maker` makes;
   -1: there is none. */
static int NewProcess(TInstance* instance, int maker, uint32_t kind) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  BeginFrame(&instance->writer, kind);
  const int isSent = SendFrames(maker, &instance->writer, ends[1]);
  close(ends[1]);
  if (isSent) return ends[0];
  close(ends[0]);
  return -1;
}

/* The instance's conversation goes on by another channel. */
static void TakeChannel(TInstance* instance, int channel) {
  if (instance->channel >= 0) close(instance->channel);
  FreeBuffer(&instance->received);
  instance->channel = channel;
  instance->pending.size = instance->pending.frame = 0;
  instance->pendingCount = 0;
}

fmi2Status RestartWorker(TInstance* instance) {
  const int channel = NewProcess(instance, instance->nursery, kBegin);
  if (channel < 0) return Lose(instance, "the process that makes the instance's has ended");
  TakeChannel(instance, channel);
  instance->stage = kNew;
  instance->isSetUp = 0;
  instance->time = 0.0;
  return Answer(instance, 0, NULL);
}

TInstance* StartInstance(const char* name, const char* guid, const char* folder, const fmi2CallbackFunctions* callbacks,
                         int logsAll) {
  TInstance* const instance = calloc(1, sizeof(TInstance));
  if (instance == NULL) return NULL;
  instance->callbacks = *callbacks;
  instance->name = strdup(name);
  instance->guid = strdup(guid);
  instance->logsAll = logsAll;
  instance->nest = instance->nursery = instance->channel = instance->received.descriptor = -1;
  int ends[2];
  int problem =
      instance->name == NULL || instance->guid == NULL || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0
          ? errno
          : 0;
  if (problem == 0) {
    instance->nursery = ends[0];
    problem = Spawn(folder, ends[1], &instance->nest);
    if (problem != 0) instance->nest = -1;
    close(ends[1]);
  }
  if (problem != 0) {
    char text[300];
    snprintf(text, sizeof(text), "resources/%s can't be run: %s", kProgram, strerror(problem));
    Tell(instance, fmi2Error, text);
  }
  if (problem == 0 && RestartWorker(instance) < fmi2Error) return instance;
  EndInstance(instance);
  return NULL;
}

void EndInstance(TInstance* instance) {
  while (instance->states != NULL) DropState(instance, instance->states);
  TakeChannel(instance, -1);
  if (instance->nursery >= 0) close(instance->nursery);
  if (instance->nest > 0) {
    kill(instance->nest, SIGKILL);
    while (waitpid(instance->nest, NULL, 0) < 0 && errno == EINTR) {
    }
  }
  FreeWriter(&instance->writer);
  FreeWriter(&instance->pending);
  free(instance->variables);
  free(instance->outputs);
  free(instance->name);
  free(instance->guid);
  free(instance);
}

/* What is pending is a frame whose count is written when it is sent. */
static int SendPending(TInstance* instance) {
  if (instance->pendingCount == 0) return 1;
  if (!instance->pending.failed) {
    memcpy(instance->pending.bytes + kFrameHead, &instance->pendingCount, sizeof(instance->pendingCount));
  }
  instance->pendingCount = 0;
  return SendFrames(instance->channel, &instance->pending, -1);
}

fmi2Status SetLater(TInstance* instance, uint32_t reference, double value) {
  if (instance->pendingCount == 0) {
    BeginFrame(&instance->pending, kSet);
    PutCount(&instance->pending, 0);
  }
  PutCount(&instance->pending, reference);
  PutNumber(&instance->pending, value);
  if (++instance->pendingCount < kMostPending || SendPending(instance)) return fmi2OK;
  return Lose(instance, kEnded);
}

fmi2Status Ask(TInstance* instance, uint32_t count, double* values) {
  if (!SendPending(instance) || !SendFrames(instance->channel, &instance->writer, -1)) {
    return Lose(instance, kEnded);
  }
  return Answer(instance, count, values);
}

/* --- States -------------------------------------------------------------------- */

/* True when a process that was made by kCopy has greeted. */
static int Greets(int channel) {
  TFrameBuffer buffer = {0};
  TFrame frame;
  buffer.descriptor = -1;
  const int isThere = ReceiveFrame(channel, &buffer, &frame) == 1 && frame.kind == kDone;
  FreeBuffer(&buffer);
  return isThere;
}

TState* KeepState(TInstance* instance) {
  TState* const state = malloc(sizeof(TState));
  if (state == NULL) return NULL;
  const int channel = SendPending(instance) ? NewProcess(instance, instance->channel, kCopy) : -1;
  const TState made = {channel, instance->stage, instance->time, instance->states};
  *state = made;
  if (channel >= 0 && Greets(channel)) {
    instance->states = state;
    return state;
  }
  if (channel >= 0) close(channel);
  free(state);
  return NULL;
}

fmi2Status ReturnToState(TInstance* instance, const TState* state) {
  const int channel = NewProcess(instance, state->channel, kCopy);
  if (channel < 0) return Lose(instance, "the process of the state has ended");
  TakeChannel(instance, channel);
  instance->stage = state->stage;
  instance->isSetUp = state->stage != kNew;
  return Answer(instance, 0, NULL);
}

void DropState(TInstance* instance, TState* state) {
  TState** place = &instance->states;
  while (*place != NULL && *place != state) place = &(*place)->next;
  if (*place == NULL) return;
  *place = state->next;
  close(state->channel);
  free(state);
}
