"""Drives a loop that stands in this text, as an operator would: by its elements and procedures."""
import loopbox

TANK = """
application tank
  period = 1; duration = 3600;
end_application;
data
  wish : real = 2 "m"; level : real = 2 "m"; inflow : real = 4 "l/s"; outflow : real = 4 "l/s";
end_data;
process
  level' = (inflow - outflow) / 500;
end_process;
instrument pid_regulator feed
  expression = level; wish_value = wish; output = inflow; start = output;
  output_section range_from = 0; range_to = 10; end_output_section;
  parameters regulator_type = takahashi; param_1 = 20; param_2 = 200; param_3 = 0; end_parameters;
end_instrument;
"""

with loopbox.read(text=TANK, name="tank") as tank:
    feed = tank.instrument("feed")

    def tell(what):
        print(f"{tank.time:5g} s  {what:<28} level {feed.value:.3f} m, inflow {feed.output:.2f} {feed.output_unit}")

    tank.step(60)
    tell("at rest")
    tank.set("outflow", 6)
    tank.step(60)
    tell("a minute of more outflow")
    tank.step(1200)
    tell("regulated")
    tank.set("wish", 3)
    while tank.get("level") < 2.9 and tank.step():
        pass
    tell("nearly at its new wish")
    r0, tI, tD = feed.call("GetParameters")
    feed.call("SetParameters", r0 / 2, tI, tD)
    tank.run()
    tell("with half the gain")
    try:
        tank.set("depth", 1)
    except loopbox.Error as error:
        print(error)
