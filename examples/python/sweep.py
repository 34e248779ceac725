"""Runs the furnace with many gains, and tells the one that keeps the temperature nearest to its wish."""
import pathlib

import numpy

import loopbox

FURNACE = pathlib.Path(__file__).parent.parent / "furnace.lbx"


def error_of(gain):
    furnace = loopbox.read(FURNACE, set={"heater.param_1": gain})
    furnace.run()
    trace = furnace.trace(numpy=True)
    return numpy.abs(trace["set_point"] - trace["temperature"]).sum() * furnace.period


gains = numpy.linspace(2, 16, 29)
errors = numpy.array([error_of(gain) for gain in gains])
best = errors.argmin()
print(f"{len(gains)} gains from {gains[0]:g} to {gains[-1]:g} %/°C")
print(f"least error {errors[best]:.0f} °C s with {gains[best]:g}, most {errors.max():.0f} with {gains[errors.argmax()]:g}")
