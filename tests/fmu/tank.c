/* A tank with an outlet, as a unit for co-simulation:

     A h' = q - c sqrt(h)      A = 2 m2, c = 0.5 m2.5/s, h(0) = 1 m

   advanced by Euler's method in steps of 0.1 ms. Its variables are q (0, an input), h
   (1, an output) and fault (2, an Integer parameter), by which a step from 2 s on
   1: fails, 2: hangs, 3: crashes, 4: ends the process, 5: yields no number. */
#include <math.h>
#include <stdlib.h>
#include <unistd.h>

#include "fmu/unit/fmi2.h"

/* What it has no use for is done at once. */
#define DECLARE(result, name, parameters) result name parameters;
FMI2_FUNCTIONS(DECLARE)

typedef struct {
  fmi2CallbackFunctions callbacks;
  double q;
  double h;
  int fault;
} TTank;

const char* fmi2GetTypesPlatform(void) { return FMI2_PLATFORM; }
const char* fmi2GetVersion(void) { return FMI2_VERSION; }

fmi2Component fmi2Instantiate(fmi2String name, fmi2Type type, fmi2String guid, fmi2String resources,
                              const fmi2CallbackFunctions* callbacks, fmi2Boolean visible, fmi2Boolean loggingOn) {
  TTank* const tank = calloc(1, sizeof(TTank));
  tank->callbacks = *callbacks;
  tank->h = 1.0;
  return guid[0] == '{' && guid[1] == 't' && guid[6] == 0 ? tank : NULL;
}

void fmi2FreeInstance(fmi2Component component) { free(component); }

fmi2Status fmi2GetReal(fmi2Component component, const fmi2ValueReference references[], size_t count,
                       fmi2Real values[]) {
  const TTank* const tank = component;
  for (size_t i = 0; i < count; ++i) values[i] = references[i] == 0 ? tank->q : tank->h;
  return fmi2OK;
}

fmi2Status fmi2SetReal(fmi2Component component, const fmi2ValueReference references[], size_t count,
                       const fmi2Real values[]) {
  ((TTank*)component)->q = values[count - 1];
  return references[0] == 0 ? fmi2OK : fmi2Error;
}

fmi2Status fmi2SetInteger(fmi2Component component, const fmi2ValueReference references[], size_t count,
                          const fmi2Integer values[]) {
  ((TTank*)component)->fault = values[count - 1];
  return references[0] == 2 ? fmi2OK : fmi2Error;
}

fmi2Status fmi2DoStep(fmi2Component component, fmi2Real time, fmi2Real step, fmi2Boolean statesAreDropped) {
  TTank* const tank = component;
  const int fault = time > 1.9 ? tank->fault : 0;
  if (fault == 1) {
    tank->callbacks.logger(tank->callbacks.componentEnvironment, "tank", fmi2Error, "logStatusError", "%s is %d m",
                           "the tank's level", 9);
    return fmi2Error;
  }
  if (fault == 2) sleep(1000);
  if (fault == 3) abort();
  if (fault == 4) _exit(7);
  if (fault == 5) tank->h = NAN;
  const long count = lround(step / 1e-4);
  for (long i = 0; i < count; ++i) tank->h += step / (double)count * (tank->q - 0.5 * sqrt(fmax(tank->h, 0.0))) / 2.0;
  return fmi2OK;
}

#define NOTHING(name, parameters) \
  fmi2Status name parameters { return fmi2OK; }
NOTHING(fmi2SetDebugLogging, (fmi2Component c, fmi2Boolean on, size_t count, const fmi2String categories[]))
NOTHING(fmi2SetupExperiment,
        (fmi2Component c, fmi2Boolean defined, fmi2Real tolerance, fmi2Real start, fmi2Boolean stops, fmi2Real stop))
NOTHING(fmi2EnterInitializationMode, (fmi2Component c))
NOTHING(fmi2ExitInitializationMode, (fmi2Component c))
NOTHING(fmi2Terminate, (fmi2Component c))
NOTHING(fmi2Reset, (fmi2Component c))
NOTHING(fmi2GetInteger, (fmi2Component c, const fmi2ValueReference r[], size_t n, fmi2Integer v[]))
NOTHING(fmi2GetBoolean, (fmi2Component c, const fmi2ValueReference r[], size_t n, fmi2Boolean v[]))
NOTHING(fmi2GetString, (fmi2Component c, const fmi2ValueReference r[], size_t n, fmi2String v[]))
NOTHING(fmi2SetBoolean, (fmi2Component c, const fmi2ValueReference r[], size_t n, const fmi2Boolean v[]))
NOTHING(fmi2SetString, (fmi2Component c, const fmi2ValueReference r[], size_t n, const fmi2String v[]))
NOTHING(fmi2GetFMUstate, (fmi2Component c, fmi2FMUstate* s))
NOTHING(fmi2SetFMUstate, (fmi2Component c, fmi2FMUstate s))
NOTHING(fmi2FreeFMUstate, (fmi2Component c, fmi2FMUstate* s))
NOTHING(fmi2SerializedFMUstateSize, (fmi2Component c, fmi2FMUstate s, size_t* n))
NOTHING(fmi2SerializeFMUstate, (fmi2Component c, fmi2FMUstate s, fmi2Byte b[], size_t n))
NOTHING(fmi2DeSerializeFMUstate, (fmi2Component c, const fmi2Byte b[], size_t n, fmi2FMUstate* s))
NOTHING(fmi2GetDirectionalDerivative, (fmi2Component c, const fmi2ValueReference u[], size_t m,
                                       const fmi2ValueReference k[], size_t n, const fmi2Real d[], fmi2Real e[]))
NOTHING(fmi2SetRealInputDerivatives,
        (fmi2Component c, const fmi2ValueReference r[], size_t n, const fmi2Integer o[], const fmi2Real v[]))
NOTHING(fmi2GetRealOutputDerivatives,
        (fmi2Component c, const fmi2ValueReference r[], size_t n, const fmi2Integer o[], fmi2Real v[]))
NOTHING(fmi2CancelStep, (fmi2Component c))
NOTHING(fmi2GetStatus, (fmi2Component c, const fmi2StatusKind k, fmi2Status* v))
NOTHING(fmi2GetRealStatus, (fmi2Component c, const fmi2StatusKind k, fmi2Real* v))
NOTHING(fmi2GetIntegerStatus, (fmi2Component c, const fmi2StatusKind k, fmi2Integer* v))
NOTHING(fmi2GetBooleanStatus, (fmi2Component c, const fmi2StatusKind k, fmi2Boolean* v))
NOTHING(fmi2GetStringStatus, (fmi2Component c, const fmi2StatusKind k, fmi2String* v))
