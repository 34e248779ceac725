/* The co-simulation interface that a unit exports and an importer calls: FMI 2.0,
   as far as both sides of this project need it, declared from the standard's text.
   All text is UTF-8 and zero-terminated. */
#ifndef LOOPBOX_FMU_UNIT_FMI2_H
#define LOOPBOX_FMU_UNIT_FMI2_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define FMI2_VERSION "2.0"
#define FMI2_PLATFORM "default"

typedef void* fmi2Component;
typedef void* fmi2ComponentEnvironment;
typedef void* fmi2FMUstate;
typedef unsigned int fmi2ValueReference;
typedef double fmi2Real;
typedef int fmi2Integer;
typedef int fmi2Boolean; /* 0 or 1 */
typedef char fmi2Char;
typedef const fmi2Char* fmi2String;
typedef char fmi2Byte;

/* The standard's names. NOLINTBEGIN(readability-identifier-naming) */
typedef enum { fmi2OK, fmi2Warning, fmi2Discard, fmi2Error, fmi2Fatal, fmi2Pending } fmi2Status;
typedef enum { fmi2ModelExchange, fmi2CoSimulation } fmi2Type;
typedef enum { fmi2DoStepStatus, fmi2PendingStatus, fmi2LastSuccessfulTime, fmi2Terminated } fmi2StatusKind;
/* NOLINTEND(readability-identifier-naming) */

typedef void (*fmi2CallbackLogger)(fmi2ComponentEnvironment environment, fmi2String instanceName, fmi2Status status,
                                   fmi2String category, fmi2String message, ...);

/* The importer's; an instance may call them as long as it lives. */
typedef struct {
  fmi2CallbackLogger logger;
  void* (*allocateMemory)(size_t count, size_t size);
  void (*freeMemory)(void* memory);
  void (*stepFinished)(fmi2ComponentEnvironment environment, fmi2Status status);
  fmi2ComponentEnvironment componentEnvironment;
} fmi2CallbackFunctions;

/* The functions: return type, name, parameters. */
#define FMI2_FUNCTIONS(FUNCTION)                                                                                       \
  FUNCTION(const char*, fmi2GetTypesPlatform, (void))                                                                  \
  FUNCTION(const char*, fmi2GetVersion, (void))                                                                        \
  FUNCTION(fmi2Status, fmi2SetDebugLogging,                                                                            \
           (fmi2Component component, fmi2Boolean loggingOn, size_t count, const fmi2String categories[]))              \
  FUNCTION(fmi2Component, fmi2Instantiate,                                                                             \
           (fmi2String name, fmi2Type type, fmi2String guid, fmi2String resources,                                     \
            const fmi2CallbackFunctions* callbacks, fmi2Boolean visible, fmi2Boolean loggingOn))                       \
  FUNCTION(void, fmi2FreeInstance, (fmi2Component component))                                                          \
  FUNCTION(fmi2Status, fmi2SetupExperiment,                                                                            \
           (fmi2Component component, fmi2Boolean toleranceDefined, fmi2Real tolerance, fmi2Real startTime,             \
            fmi2Boolean stopTimeDefined, fmi2Real stopTime))                                                           \
  FUNCTION(fmi2Status, fmi2EnterInitializationMode, (fmi2Component component))                                         \
  FUNCTION(fmi2Status, fmi2ExitInitializationMode, (fmi2Component component))                                          \
  FUNCTION(fmi2Status, fmi2Terminate, (fmi2Component component))                                                       \
  FUNCTION(fmi2Status, fmi2Reset, (fmi2Component component))                                                           \
  FUNCTION(fmi2Status, fmi2GetReal,                                                                                    \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, fmi2Real values[]))          \
  FUNCTION(fmi2Status, fmi2GetInteger,                                                                                 \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, fmi2Integer values[]))       \
  FUNCTION(fmi2Status, fmi2GetBoolean,                                                                                 \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, fmi2Boolean values[]))       \
  FUNCTION(fmi2Status, fmi2GetString,                                                                                  \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, fmi2String values[]))        \
  FUNCTION(fmi2Status, fmi2SetReal,                                                                                    \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2Real values[]))    \
  FUNCTION(fmi2Status, fmi2SetInteger,                                                                                 \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2Integer values[])) \
  FUNCTION(fmi2Status, fmi2SetBoolean,                                                                                 \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2Boolean values[])) \
  FUNCTION(fmi2Status, fmi2SetString,                                                                                  \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2String values[]))  \
  FUNCTION(fmi2Status, fmi2GetFMUstate, (fmi2Component component, fmi2FMUstate * state))                               \
  FUNCTION(fmi2Status, fmi2SetFMUstate, (fmi2Component component, fmi2FMUstate state))                                 \
  FUNCTION(fmi2Status, fmi2FreeFMUstate, (fmi2Component component, fmi2FMUstate * state))                              \
  FUNCTION(fmi2Status, fmi2SerializedFMUstateSize, (fmi2Component component, fmi2FMUstate state, size_t * size))       \
  FUNCTION(fmi2Status, fmi2SerializeFMUstate,                                                                          \
           (fmi2Component component, fmi2FMUstate state, fmi2Byte bytes[], size_t size))                               \
  FUNCTION(fmi2Status, fmi2DeSerializeFMUstate,                                                                        \
           (fmi2Component component, const fmi2Byte bytes[], size_t size, fmi2FMUstate* state))                        \
  FUNCTION(                                                                                                            \
      fmi2Status, fmi2GetDirectionalDerivative,                                                                        \
      (fmi2Component component, const fmi2ValueReference unknown[], size_t unknownCount,                               \
       const fmi2ValueReference known[], size_t knownCount, const fmi2Real knownChanges[], fmi2Real unknownChanges[])) \
  FUNCTION(fmi2Status, fmi2SetRealInputDerivatives,                                                                    \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2Integer orders[],  \
            const fmi2Real values[]))                                                                                  \
  FUNCTION(fmi2Status, fmi2GetRealOutputDerivatives,                                                                   \
           (fmi2Component component, const fmi2ValueReference references[], size_t count, const fmi2Integer orders[],  \
            fmi2Real values[]))                                                                                        \
  FUNCTION(fmi2Status, fmi2DoStep,                                                                                     \
           (fmi2Component component, fmi2Real time, fmi2Real step, fmi2Boolean statesAreDropped))                      \
  FUNCTION(fmi2Status, fmi2CancelStep, (fmi2Component component))                                                      \
  FUNCTION(fmi2Status, fmi2GetStatus, (fmi2Component component, const fmi2StatusKind kind, fmi2Status* value))         \
  FUNCTION(fmi2Status, fmi2GetRealStatus, (fmi2Component component, const fmi2StatusKind kind, fmi2Real* value))       \
  FUNCTION(fmi2Status, fmi2GetIntegerStatus, (fmi2Component component, const fmi2StatusKind kind, fmi2Integer* value)) \
  FUNCTION(fmi2Status, fmi2GetBooleanStatus, (fmi2Component component, const fmi2StatusKind kind, fmi2Boolean* value)) \
  FUNCTION(fmi2Status, fmi2GetStringStatus, (fmi2Component component, const fmi2StatusKind kind, fmi2String* value))

#ifdef __cplusplus
}
#endif

#endif
