/* The functions of a unit, which an importer calls. They check the order of the calls
   and what is set; all else is done in the process of the instance. */
#define _GNU_SOURCE
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "fmu/unit/instance.h"

#define EXPORTED __attribute__((visibility("default")))
#define FUNCTION(result, name, parameters) EXPORTED result name parameters;
FMI2_FUNCTIONS(FUNCTION)
#undef FUNCTION

enum { kLongestPath = 4096 };

/* Whether the call is right at this stage, one of those in the mask; what is wrong is
   told. */
static int IsRight(TInstance* instance, unsigned stages, const char* function) {
  char text[200];
  if (instance == NULL || instance->stage == kDead) return 0;
  if (stages & (1u << instance->stage)) return 1;
  snprintf(text, sizeof(text), "%s can't be called at this stage", function);
  Tell(instance, fmi2Error, text);
  return 0;
}

static fmi2Status Refuse(const TInstance* instance) {
  return instance != NULL && instance->stage == kDead ? fmi2Fatal : fmi2Error;
}

static fmi2Status Unsupported(const TInstance* instance, const char* text) {
  if (instance == NULL) return fmi2Error;
  Tell(instance, fmi2Error, text);
  return fmi2Error;
}

enum {
  kAtNew = 1u << kNew,
  kAtInitialising = 1u << kInitialising,
  kAtStepping = 1u << kStepping,
  kAtTerminated = 1u << kTerminated,
  kAtAny = kAtNew | kAtInitialising | kAtStepping | kAtTerminated,
};

const char* fmi2GetTypesPlatform(void) { return FMI2_PLATFORM; }
const char* fmi2GetVersion(void) { return FMI2_VERSION; }

fmi2Status fmi2SetDebugLogging(fmi2Component component, fmi2Boolean loggingOn, size_t count,
                               const fmi2String categories[]) {
  TInstance* const instance = component;
  if (!IsRight(instance, kAtAny, __func__)) return Refuse(instance);
  int asksForOthers = count == 0;
  for (size_t i = 0; i < count; ++i) {
    if (strcmp(categories[i], "logStatusError") != 0 && strcmp(categories[i], "logStatusFatal") != 0) asksForOthers = 1;
  }
  instance->logsAll = loggingOn && asksForOthers;
  return fmi2OK;
}

/* --- The beginning and the end ----------------------------------------------------- */

/* The path of a URI file:/… or file:///…; false when it is none. */
static int PathOf(const char* location, char* path) {
  static const char kScheme[] = "file:";
  if (location == NULL || strncmp(location, kScheme, sizeof(kScheme) - 1) != 0) return 0;
  const char* from = location + sizeof(kScheme) - 1;
  if (strncmp(from, "//localhost/", 12) == 0) from += 11;
  if (strncmp(from, "///", 3) == 0) from += 2;
  size_t size = 0;
  while (*from != 0 && size < kLongestPath) {
    char byte[3] = {0, 0, 0};
    char* end = NULL;
    if (*from == '%') memcpy(byte, from + 1, from[1] == 0 ? 1 : 2);
    const long code = strtol(byte, &end, 16);
    const int isEscaped = *from == '%' && end == byte + 2 && code != 0;
    path[size++] = isEscaped ? (char)code : *from;
    from += isEscaped ? 3 : 1;
  }
  path[size] = 0;
  return size < kLongestPath && path[0] == '/';
}

fmi2Component fmi2Instantiate(fmi2String name, fmi2Type type, fmi2String guid, fmi2String resources,
                              const fmi2CallbackFunctions* callbacks, fmi2Boolean visible, fmi2Boolean loggingOn) {
  (void)visible;
  char path[kLongestPath + 1];
  if (callbacks == NULL) return NULL;
  TInstance teller = {0};
  teller.callbacks = *callbacks;
  teller.name = (char*)(name == NULL ? "" : name);
  if (name == NULL || name[0] == 0) return Tell(&teller, fmi2Error, "an instance needs a name"), NULL;
  if (type != fmi2CoSimulation) return Tell(&teller, fmi2Error, "this unit is for co-simulation alone"), NULL;
  if (!PathOf(resources, path)) {
    return Tell(&teller, fmi2Error, "the location of the resources is no URI of a local folder"), NULL;
  }
  return StartInstance(name, guid == NULL ? "" : guid, path, callbacks, loggingOn);
}

void fmi2FreeInstance(fmi2Component component) {
  if (component != NULL) EndInstance(component);
}

fmi2Status fmi2SetupExperiment(fmi2Component component, fmi2Boolean toleranceDefined, fmi2Real tolerance,
                               fmi2Real startTime, fmi2Boolean stopTimeDefined, fmi2Real stopTime) {
  (void)toleranceDefined;
  (void)tolerance;
  TInstance* const instance = component;
  if (!IsRight(instance, kAtNew, __func__)) return Refuse(instance);
  if (!isfinite(startTime) || (stopTimeDefined && !(stopTime >= startTime))) {
    return Unsupported(instance, "the start is no time, or the stop is before it");
  }
  BeginFrame(&instance->writer, kSetup);
  PutNumber(&instance->writer, startTime);
  PutNumber(&instance->writer, stopTimeDefined ? stopTime : NAN);
  instance->isSetUp = 1;
  if (SendFrames(instance->channel, &instance->writer, -1)) return fmi2OK;
  return Ask(instance, 0, NULL);
}

fmi2Status fmi2EnterInitializationMode(fmi2Component component) {
  TInstance* const instance = component;
  if (!IsRight(instance, kAtNew, __func__)) return Refuse(instance);
  if (!instance->isSetUp) return Unsupported(instance, "fmi2SetupExperiment comes before fmi2EnterInitializationMode");
  instance->stage = kInitialising;
  return fmi2OK;
}

fmi2Status fmi2ExitInitializationMode(fmi2Component component) {
  TInstance* const instance = component;
  if (!IsRight(instance, kAtInitialising, __func__)) return Refuse(instance);
  BeginFrame(&instance->writer, kStart);
  const fmi2Status status = Ask(instance, 0, NULL);
  if (status < fmi2Error) instance->stage = kStepping;
  return status;
}

fmi2Status fmi2Terminate(fmi2Component component) {
  TInstance* const instance = component;
  if (!IsRight(instance, kAtAny & ~(unsigned)kAtTerminated, __func__)) return Refuse(instance);
  BeginFrame(&instance->writer, kFinish);
  const fmi2Status status = Ask(instance, 0, NULL);
  if (status < fmi2Error) instance->stage = kTerminated;
  return status;
}

fmi2Status fmi2Reset(fmi2Component component) {
  TInstance* const instance = component;
  return IsRight(instance, kAtAny, __func__) ? RestartWorker(instance) : Refuse(instance);
}

/* --- Values ------------------------------------------------------------------------ */

static int IsOfType(const TInstance* instance, fmi2ValueReference reference, uint8_t type) {
  char text[200];
  if (reference < instance->count && instance->variables[reference].type == type) return 1;
  snprintf(text, sizeof(text), "there is no variable of that type with the reference %u", reference);
  Tell(instance, fmi2Error, text);
  return 0;
}

/* Values of any type, as numbers. Outputs stand still between two steps. */
static fmi2Status GetNumbers(TInstance* instance, const fmi2ValueReference references[], size_t count, uint8_t type,
                             double values[]) {
  int isKnown = instance->stage == kStepping || instance->stage == kTerminated;
  for (size_t i = 0; i < count; ++i) {
    if (!IsOfType(instance, references[i], type)) return fmi2Error;
    isKnown = isKnown && (instance->variables[references[i]].uses & kIsOutput);
  }
  if (isKnown || count == 0) {
    for (size_t i = 0; i < count; ++i) values[i] = instance->outputs[instance->variables[references[i]].output];
    return fmi2OK;
  }
  if (count > kMostVariables) return Unsupported(instance, "more values at once than there are variables");
  BeginFrame(&instance->writer, kGet);
  PutCount(&instance->writer, (uint32_t)count);
  for (size_t i = 0; i < count; ++i) PutCount(&instance->writer, references[i]);
  return Ask(instance, (uint32_t)count, values);
}

/* Into values of their own type. */
static fmi2Status GetValues(TInstance* instance, const char* function, const fmi2ValueReference references[],
                            size_t count, uint8_t type, void* values) {
  if (!IsRight(instance, kAtAny, function)) return Refuse(instance);
  if (type == kReal) return GetNumbers(instance, references, count, type, values);
  double* const numbers = malloc((count + 1) * sizeof(double));
  if (numbers == NULL) return fmi2Error;
  const fmi2Status status = GetNumbers(instance, references, count, type, numbers);
  for (size_t i = 0; status < fmi2Error && i < count; ++i) ((int*)values)[i] = (int)numbers[i];
  free(numbers);
  return status;
}

static fmi2Status SetNumber(TInstance* instance, fmi2ValueReference reference, uint8_t type, double value) {
  char text[200];
  if (!IsOfType(instance, reference, type)) return fmi2Error;
  const uint8_t needed = instance->stage == kStepping ? kSetBetween : kSetBefore;
  if (!(instance->variables[reference].uses & needed)) {
    snprintf(text, sizeof(text), "the variable with the reference %u can't be set at this stage", reference);
    return Unsupported(instance, text);
  }
  if (!isfinite(value)) {
    snprintf(text, sizeof(text), "the value for the reference %u is not finite", reference);
    return Unsupported(instance, text);
  }
  return SetLater(instance, reference, value);
}

/* From values of their own type. */
static fmi2Status SetValues(TInstance* instance, const char* function, const fmi2ValueReference references[],
                            size_t count, uint8_t type, const void* values) {
  if (!IsRight(instance, kAtNew | kAtInitialising | kAtStepping, function)) return Refuse(instance);
  fmi2Status status = fmi2OK;
  for (size_t i = 0; i < count && status == fmi2OK; ++i) {
    const double value = type == kReal ? ((const double*)values)[i] : ((const int*)values)[i];
    status = SetNumber(instance, references[i], type, type == kBoolean ? value != 0 : value);
  }
  return status;
}

#define VALUES_OF_TYPE(Type)                                                                             \
  fmi2Status fmi2Get##Type(fmi2Component component, const fmi2ValueReference references[], size_t count, \
                           fmi2##Type values[]) {                                                        \
    return GetValues(component, __func__, references, count, k##Type, values);                           \
  }                                                                                                      \
  fmi2Status fmi2Set##Type(fmi2Component component, const fmi2ValueReference references[], size_t count, \
                           const fmi2##Type values[]) {                                                  \
    return SetValues(component, __func__, references, count, k##Type, values);                           \
  }
VALUES_OF_TYPE(Real)
VALUES_OF_TYPE(Integer)
VALUES_OF_TYPE(Boolean)
#undef VALUES_OF_TYPE

/* No unit has texts among its variables. */
static fmi2Status NoTexts(TInstance* instance, size_t count, const char* function) {
  if (!IsRight(instance, kAtAny, function)) return Refuse(instance);
  return count == 0 ? fmi2OK : Unsupported(instance, "there is no variable of type String");
}

fmi2Status fmi2GetString(fmi2Component component, const fmi2ValueReference references[], size_t count,
                         fmi2String values[]) {
  (void)references;
  (void)values;
  return NoTexts(component, count, __func__);
}

fmi2Status fmi2SetString(fmi2Component component, const fmi2ValueReference references[], size_t count,
                         const fmi2String values[]) {
  (void)references;
  (void)values;
  return NoTexts(component, count, __func__);
}

/* --- Steps ------------------------------------------------------------------------- */

fmi2Status fmi2DoStep(fmi2Component component, fmi2Real time, fmi2Real step, fmi2Boolean statesAreDropped) {
  (void)statesAreDropped;
  TInstance* const instance = component;
  if (!IsRight(instance, kAtStepping, __func__)) return Refuse(instance);
  BeginFrame(&instance->writer, kStep);
  PutNumber(&instance->writer, time);
  PutNumber(&instance->writer, step);
  return Ask(instance, 0, NULL);
}

fmi2Status fmi2CancelStep(fmi2Component component) { return Unsupported(component, "no step is ever pending"); }

fmi2Status fmi2GetStatus(fmi2Component component, const fmi2StatusKind kind, fmi2Status* value) {
  (void)component;
  (void)kind;
  (void)value;
  return fmi2Discard; /* no step is ever pending */
}

fmi2Status fmi2GetRealStatus(fmi2Component component, const fmi2StatusKind kind, fmi2Real* value) {
  const TInstance* const instance = component;
  if (instance == NULL || kind != fmi2LastSuccessfulTime) return fmi2Discard;
  *value = instance->time;
  return fmi2OK;
}

fmi2Status fmi2GetIntegerStatus(fmi2Component component, const fmi2StatusKind kind, fmi2Integer* value) {
  (void)component;
  (void)kind;
  (void)value;
  return fmi2Discard;
}

fmi2Status fmi2GetBooleanStatus(fmi2Component component, const fmi2StatusKind kind, fmi2Boolean* value) {
  const TInstance* const instance = component;
  if (instance == NULL || kind != fmi2Terminated) return fmi2Discard;
  *value = instance->stage == kTerminated || instance->stage == kDead;
  return fmi2OK;
}

fmi2Status fmi2GetStringStatus(fmi2Component component, const fmi2StatusKind kind, fmi2String* value) {
  (void)component;
  (void)kind;
  (void)value;
  return fmi2Discard;
}

/* --- States ------------------------------------------------------------------------ */

fmi2Status fmi2GetFMUstate(fmi2Component component, fmi2FMUstate* state) {
  TInstance* const instance = component;
  if (!IsRight(instance, kAtAny, __func__)) return Refuse(instance);
  TState* const kept = KeepState(instance);
  if (kept == NULL) return Unsupported(instance, "the process of the instance can't be copied");
  if (*state != NULL) DropState(instance, *state);
  *state = kept;
  return fmi2OK;
}

fmi2Status fmi2SetFMUstate(fmi2Component component, fmi2FMUstate state) {
  TInstance* const instance = component;
  if (instance == NULL) return fmi2Error;
  const TState* found = instance->states;
  while (found != NULL && found != state) found = found->next;
  return found == NULL ? Unsupported(instance, "this is no state of the instance") : ReturnToState(instance, found);
}

fmi2Status fmi2FreeFMUstate(fmi2Component component, fmi2FMUstate* state) {
  TInstance* const instance = component;
  if (instance == NULL || state == NULL) return fmi2Error;
  if (*state != NULL) DropState(instance, *state);
  *state = NULL;
  return fmi2OK;
}

static const char kNotSerialised[] = "a state is a process and can't be written down";

fmi2Status fmi2SerializedFMUstateSize(fmi2Component component, fmi2FMUstate state, size_t* size) {
  (void)state;
  (void)size;
  return Unsupported(component, kNotSerialised);
}

fmi2Status fmi2SerializeFMUstate(fmi2Component component, fmi2FMUstate state, fmi2Byte bytes[], size_t size) {
  (void)state;
  (void)bytes;
  (void)size;
  return Unsupported(component, kNotSerialised);
}

fmi2Status fmi2DeSerializeFMUstate(fmi2Component component, const fmi2Byte bytes[], size_t size, fmi2FMUstate* state) {
  (void)bytes;
  (void)size;
  (void)state;
  return Unsupported(component, kNotSerialised);
}

/* --- Derivatives: there are none ----------------------------------------------------- */

static const char kNoDerivatives[] = "this unit has no derivatives";

fmi2Status fmi2GetDirectionalDerivative(fmi2Component component, const fmi2ValueReference unknown[],
                                        size_t unknownCount, const fmi2ValueReference known[], size_t knownCount,
                                        const fmi2Real knownChanges[], fmi2Real unknownChanges[]) {
  (void)unknown;
  (void)unknownCount;
  (void)known;
  (void)knownCount;
  (void)knownChanges;
  (void)unknownChanges;
  return Unsupported(component, kNoDerivatives);
}

fmi2Status fmi2SetRealInputDerivatives(fmi2Component component, const fmi2ValueReference references[], size_t count,
                                       const fmi2Integer orders[], const fmi2Real values[]) {
  (void)references;
  (void)count;
  (void)orders;
  (void)values;
  return Unsupported(component, kNoDerivatives);
}

fmi2Status fmi2GetRealOutputDerivatives(fmi2Component component, const fmi2ValueReference references[], size_t count,
                                        const fmi2Integer orders[], fmi2Real values[]) {
  (void)references;
  (void)count;
  (void)orders;
  (void)values;
  return Unsupported(component, kNoDerivatives);
}
