"""Runs the furnace and reads from its trace how the temperature met its second wish."""
import pathlib

import loopbox

furnace = loopbox.read(pathlib.Path(__file__).parent.parent / "furnace.lbx", duration=600)
furnace.run()
trace = furnace.trace()
rows = list(zip(trace["time"], trace["set_point"], trace["temperature"]))
near = next(time for time, wish, value in rows if wish == 120 and value > wish - 1)
highest = max(trace["temperature"])
print(f"{furnace.name}: {len(rows)} periods of {furnace.period} s")
print(f"within 1 °C of 120 °C {near - 60:g} s after the step; {highest:.2f} °C at the most")
