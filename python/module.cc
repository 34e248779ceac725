// The module `loopbox` of Python: applications through the runtime's face.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "python/session.h"

namespace py = pybind11;

namespace {

using python::CSession;
using runtime::TDiagnostic;
using TShared = std::shared_ptr<CSession>;

// In the runtime, where one thread may be at a time, whichever application it is
// about. Python's other threads go on meanwhile, so that nothing of Python's may be
// touched. Waiting for one's turn doesn't keep Python waiting either.
class CTurn {
 public:
  CTurn() : lock(Mutex()) {}

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }

  py::gil_scoped_release released;
  std::lock_guard<std::mutex> lock;
};

// What `look` yields of an application, in its turn.
template <typename TLook>
auto InTurn(const TShared& session, TLook look) {
  const CTurn turn;
  return look(*session);
}

// A text, which is translated, or what is wrong with an application, which is already.
[[noreturn]] void Raise(const std::string& text, const std::vector<TDiagnostic>& diagnostics = {}) {
  const py::object type = py::module_::import("loopbox").attr("Error");
  std::string said = text;
  if (diagnostics.empty()) {
    const CTurn turn;
    said = runtime::Translated(said);
  }
  const py::object error = type(said);
  error.attr("diagnostics") = py::cast(diagnostics);
  PyErr_SetObject(type.ptr(), error.ptr());
  throw py::error_already_set();
}

void RaiseIf(const std::string& error) {
  if (!error.empty()) Raise(error);
}

std::string WithoutEnd(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

// --- Reading ----------------------------------------------------------------------

using TPath = std::optional<std::filesystem::path>;
using TValues = std::vector<std::pair<std::string, std::string>>;

TValues InitialValues(const py::dict& values) {
  TValues texts;
  for (const auto& [name, value] : values) {
    const bool isBoolean = py::isinstance<py::bool_>(value);
    texts.emplace_back(py::str(name),
                       isBoolean ? (value.cast<bool>() ? "true" : "false") : std::string(py::str(value)));
  }
  return texts;
}

TShared Read(const TPath& path, const std::optional<std::string>& text, const std::string& name, const TPath& folder,
             std::optional<double> period, std::optional<double> duration, const py::dict& values, std::uint64_t seed,
             const TPath& plugin, bool keep, std::uint64_t every) {
  if (path.has_value() == text.has_value()) throw py::type_error("either a path or text=... is needed");
  runtime::TReadOptions options;
  options.path = path ? path->string() : name;
  options.text = text;
  options.folder = folder.value_or("").string();
  options.period = period;
  options.duration = duration;
  options.initialValues = InitialValues(values);
  options.seed = seed;
  options.keepsLearnt = keep;
  std::vector<TDiagnostic> diagnostics;
  std::unique_ptr<CSession> session;
  std::string whole;
  {
    const CTurn turn;
    session = CSession::Read(std::move(options), plugin.value_or("").string(), every, &diagnostics);
    for (const TDiagnostic& diagnostic : diagnostics) whole += runtime::Format(diagnostic);
  }
  if (session == nullptr) Raise(WithoutEnd(whole), diagnostics);
  return {session.release(), [](CSession* last) {
            const CTurn turn;
            delete last;
          }};
}

// --- Running ----------------------------------------------------------------------

std::uint64_t Step(const TShared& session, std::uint64_t count) {
  std::uint64_t done = 0;
  while (done < count) {
    const std::uint64_t more = InTurn(session, [&](CSession& its) { return its.Step(count - done); });
    if (more == 0) break;
    done += more;
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  }
  return done;
}

void End(const TShared& session) {
  InTurn(session, [](CSession& its) { its.Application().End(); });
}

// A snapshot by columns: of lists, or of arrays of numpy.
py::dict Trace(const TShared& session, bool numpy) {
  std::vector<std::vector<double>> columns;
  InTurn(session, [&](CSession& its) {
    const std::vector<double>& rows = its.Rows();
    columns.resize(its.Columns().size());
    const std::size_t count = rows.size() / columns.size();
    for (std::size_t column = 0; column < columns.size(); ++column) {
      columns[column].resize(count);
      for (std::size_t row = 0; row < count; ++row) columns[column][row] = rows[row * columns.size() + column];
    }
  });
  py::dict trace;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::vector<double>& column = columns[i];
    const py::str name(session->Columns()[i]);
    if (numpy) {
      trace[name] = py::array_t<double>(static_cast<py::ssize_t>(column.size()), column.data());
    } else {
      trace[name] = py::cast(column);
    }
  }
  return trace;
}

// --- Elements ---------------------------------------------------------------------

py::object OfType(const runtime::TElement& element, double value) {
  if (element.isBoolean) return py::bool_(value != 0.0);
  if (element.isInteger) return py::int_(static_cast<long>(value));
  return py::float_(value);
}

bool FindItem(const runtime::CApplication& application, const std::string& name, runtime::TItem* item,
              std::string* error) {
  if (application.FindItem(name, item, error)) return true;
  *error = "'" + name + "': " + *error;
  return false;
}

// A value, or the list of all of an array by its name alone.
py::object Get(const TShared& session, const std::string& name) {
  runtime::TElement element;
  std::vector<double> values;
  std::string error;
  InTurn(session, [&](CSession& its) {
    const runtime::CApplication& application = its.Application();
    const std::ptrdiff_t whole = its.FindElement(name);
    runtime::TItem item{static_cast<std::size_t>(whole), 0};
    if (whole < 0 && !FindItem(application, name, &item, &error)) return;
    element = application.Element(item.element);
    if (whole < 0) element.length = 0;
    const std::size_t count = element.length == 0 ? 1 : element.length;
    for (std::size_t i = 0; i < count; ++i) values.push_back(application.ElementValue(item.element, item.item + i));
  });
  RaiseIf(error);
  if (element.length == 0) return OfType(element, values[0]);
  py::list list;
  for (const double value : values) list.append(OfType(element, value));
  return list;
}

void Set(const TShared& session, const std::string& name, double value) {
  std::string error;
  InTurn(session, [&](CSession& its) {
    runtime::TItem item;
    if (FindItem(its.Application(), name, &item, &error)) its.Application().WriteElement(item, value, &error);
  });
  RaiseIf(error);
}

// All values of an array, or none.
void SetAll(const TShared& session, const std::string& name, const std::vector<double>& values) {
  std::string error;
  InTurn(session, [&](CSession& its) {
    runtime::CApplication& application = its.Application();
    const std::ptrdiff_t found = its.FindElement(name);
    const std::size_t length = found < 0 ? 0 : application.Element(static_cast<std::size_t>(found)).length;
    if (length == 0 || length != values.size()) {
      error = length == 0
                  ? "there is no array '" + name + "'"
                  : "'" + name + "' has " + std::to_string(length) + " values, not " + std::to_string(values.size());
      return;
    }
    std::vector<double> before;
    for (std::size_t i = 0; i < length && error.empty(); ++i) {
      const runtime::TItem item{static_cast<std::size_t>(found), i};
      before.push_back(application.ElementValue(item.element, i));
      application.WriteElement(item, values[i], &error);
    }
    if (error.empty()) return;
    for (std::size_t i = 0; i < before.size(); ++i) {
      application.SetElementValue({static_cast<std::size_t>(found), i}, before[i]);
    }
  });
  RaiseIf(error);
}

py::dict Elements(const TShared& session) {
  std::vector<runtime::TElement> elements;
  InTurn(session, [&](CSession& its) {
    for (std::size_t i = 0; i < its.Application().ElementCount(); ++i) {
      elements.push_back(its.Application().Element(i));
    }
  });
  py::dict units;
  for (const runtime::TElement& element : elements) units[py::str(element.name)] = element.unit;
  return units;
}

// --- Instruments ------------------------------------------------------------------

struct TInstrument {
  TShared session;  // what the handle needs
  runtime::CInstrumentHandle handle;
};

TInstrument Instrument(const TShared& session, const std::string& name) {
  const std::ptrdiff_t found = session->FindInstrument(name);
  if (found < 0) Raise("there is no instrument '" + name + "'");
  return {session, session->Application().Instrument(static_cast<std::size_t>(found))};
}

std::vector<std::string> Instruments(const TShared& session) {
  std::vector<std::string> names;
  const runtime::CApplication& application = session->Application();
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i)
    names.push_back(session->Application().Instrument(i).Name());
  return names;
}

// Of what has no such pane None.
std::optional<double> Shown(const TInstrument& instrument, runtime::EPane pane) {
  return InTurn(instrument.session, [&](CSession&) -> std::optional<double> {
    if (instrument.handle.PaneCount() > 0) return instrument.handle.Pane(pane).value;
    if (instrument.handle.IsMeter() && pane == runtime::kValuePane) return instrument.handle.MeterValue();
    return std::nullopt;
  });
}

// Which arguments `Name( &a, b : real )` shows as given back.
std::vector<bool> GivenBack(const std::string& description) {
  std::vector<bool> marks;
  const std::size_t open = description.find('(');
  bool atName = true;
  for (std::size_t i = open == std::string::npos ? description.size() : open + 1; i < description.size(); ++i) {
    const char c = description[i];
    if (c == ')') break;
    if (c == ',' || c == ';') {
      atName = true;
    } else if (atName && c != ' ') {
      marks.push_back(c == '&');
      atName = false;
    }
  }
  return marks;
}

// A listed procedure by its name takes the arguments without `&` and yields the
// others; one by its name with letters takes as many as given, the rest being 0, and
// yields all. False: there is none that takes these.
bool Call(const runtime::CInstrumentHandle& handle, const std::string& name, const std::vector<double>& given,
          std::vector<double>* results) {
  const std::size_t mark = name.find("__");
  if (mark != std::string::npos) {
    *results = given;
    if (given.size() > name.size() - mark - 2) return false;
    results->resize(name.size() - mark - 2);
    return handle.Call(name, results);
  }
  for (const runtime::TNamed& procedure : handle.Procedures()) {
    if (procedure.name.substr(0, procedure.name.find("__")) != name) continue;
    const std::vector<bool> givenBack = GivenBack(procedure.description);
    std::vector<double> arguments(givenBack.size());
    std::size_t used = 0;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (!givenBack[i] && used < given.size()) arguments[i] = given[used++];
    }
    const auto inputs = static_cast<std::size_t>(std::count(givenBack.begin(), givenBack.end(), false));
    if (inputs != given.size() || !handle.Call(procedure.name, &arguments)) continue;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      if (givenBack[i]) results->push_back(arguments[i]);
    }
    return true;
  }
  return false;
}

std::vector<double> CallProcedure(const TInstrument& instrument, const std::string& name, const py::args& arguments) {
  std::vector<double> given;
  for (const py::handle& argument : arguments) given.push_back(argument.cast<double>());
  for (const double value : given) {
    if (!std::isfinite(value)) Raise(name + ": an argument is not a finite number");
  }
  std::vector<double> results;
  const bool isCalled =
      InTurn(instrument.session, [&](CSession&) { return Call(instrument.handle, name, given, &results); });
  if (!isCalled) Raise("'" + instrument.handle.Name() + "' has no procedure '" + name + "' for these arguments now");
  return results;
}

std::vector<std::pair<std::string, std::string>> Procedures(const TInstrument& instrument) {
  std::vector<std::pair<std::string, std::string>> named;
  InTurn(instrument.session, [&](CSession&) {
    for (const runtime::TNamed& one : instrument.handle.Procedures()) named.emplace_back(one.name, one.description);
  });
  return named;
}

// --- The module -------------------------------------------------------------------

void DefineRecords(py::module_& module) {
  py::class_<TDiagnostic>(module, "Diagnostic", "What is wrong with a text, or worth knowing, and where.")
      .def_property_readonly("is_error", [](const TDiagnostic& its) { return its.kind == TDiagnostic::kError; })
      .def_readonly("path", &TDiagnostic::path)
      .def_readonly("line", &TDiagnostic::line, "From 1; 0: without a place.")
      .def_readonly("column", &TDiagnostic::column)
      .def_readonly("message", &TDiagnostic::message)
      .def("__str__", [](const TDiagnostic& its) {
        const CTurn turn;
        return WithoutEnd(runtime::Format(its));
      });
  py::class_<runtime::TRunTimeMessage>(module, "Message", "Something that went wrong while the application ran.")
      .def_readonly("time", &runtime::TRunTimeMessage::time, "Seconds since the start.")
      .def_readonly("instrument", &runtime::TRunTimeMessage::instrument, "Its name, 'process', or nothing.")
      .def_readonly("text", &runtime::TRunTimeMessage::text);
}

void DefineInstrument(py::module_& module) {
  py::class_<TInstrument>(module, "Instrument", "An instrument of an application, which it keeps alive.")
      .def_property_readonly("name", [](const TInstrument& its) { return its.handle.Name(); })
      .def_property_readonly("class_name", [](const TInstrument& its) { return its.handle.ClassName(); })
      .def_property_readonly(
          "wish", [](const TInstrument& its) { return Shown(its, runtime::kWishPane); },
          "What its pane shows; None of an instrument without it. The same holds for value and output.")
      .def_property_readonly("value", [](const TInstrument& its) { return Shown(its, runtime::kValuePane); })
      .def_property_readonly("output", [](const TInstrument& its) { return Shown(its, runtime::kOutputPane); })
      .def_property_readonly("unit", [](const TInstrument& its) { return its.handle.QuantityUnit(); })
      .def_property_readonly("output_unit", [](const TInstrument& its) { return its.handle.OutputUnit(); })
      .def_property_readonly("procedures", &Procedures, "Pairs of a name with letters and a description.")
      .def("call", &CallProcedure, py::arg("procedure"),
           "Calls a procedure. By its name alone, one that is listed takes the arguments that its\n"
           "description shows without & and yields those with it. By its name with letters, Name__RR,\n"
           "it takes numbers, for those left out 0, and yields what all of them are then.");
}

void DefineApplication(py::module_& module) {
  const auto application = [](auto look) {
    return [look](const TShared& its) { return InTurn(its, [&](CSession& session) { return look(session); }); };
  };
  py::class_<CSession, TShared>(module, "Application", "A run: the period done last, and what can be done next.")
      .def_property_readonly("name", application([](CSession& its) { return its.Application().Name(); }))
      .def_property_readonly("period", application([](CSession& its) { return its.Application().Period(); }),
                             "Seconds.")
      .def_property_readonly("duration", application([](CSession& its) { return its.Application().Duration(); }),
                             "Seconds.")
      .def_property_readonly("periods", application([](CSession& its) { return its.Application().PeriodCount(); }),
                             "How many the run has in all.")
      .def_property_readonly("periods_done", application([](CSession& its) { return its.Application().PeriodsDone(); }))
      .def_property_readonly("time", application([](CSession& its) { return its.Application().Time(); }),
                             "Seconds, of the period done last.")
      .def_property_readonly("warnings", application([](CSession& its) { return its.Warnings(); }),
                             "Diagnostics of the text.")
      .def_property_readonly("messages", application([](CSession& its) { return its.Messages(); }),
                             "What went wrong so far, while it ran.")
      .def_property_readonly("printed", application([](CSession& its) { return its.Printed(); }),
                             "The lines that the script has printed.")
      .def_property_readonly("elements", &Elements, "The unit of each data element, by its name.")
      .def_property_readonly("instruments", &Instruments, "The names of the instruments.")
      .def("instrument", &Instrument, py::arg("name"))
      .def("step", &Step, py::arg("count") = 1, "Runs periods; yields how many, fewer at the end of the run.")
      .def(
          "run", [](const TShared& its) { return Step(its, its->Application().PeriodCount()); },
          "Runs what is left; yields how many periods that were.")
      .def("get", &Get, py::arg("name"),
           "A data element by NAME or NAME[INDEX]: float, int or bool; of an array by its name a list.")
      .def("set", &Set, py::arg("name"), py::arg("value"),
           "Gives a data element another value, between two periods; an array all its values, by a sequence.")
      .def("set", &SetAll, py::arg("name"), py::arg("values"))
      .def("trace", &Trace, py::arg("numpy") = false,
           "The rows so far, as a list of numbers for each column, or as arrays of numpy. The columns are\n"
           "those of a trace file, 'time' first; booleans are 0.0 and 1.0.")
      .def("end", &End, "Ends the run: instruments keep what they have learnt.")
      .def("__enter__", [](const TShared& its) { return its; })
      .def("__exit__", [](const TShared& its, const py::args&) { End(its); });
}

}  // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the macro's own names
PYBIND11_MODULE(loopbox, module) {
  module.doc() =
      "Runs applications of Loopbox.\n\n"
      "    import loopbox\n"
      "    with loopbox.read('furnace.lbx') as furnace:\n"
      "        furnace.step(100)\n"
      "        print(furnace.get('temperature'), furnace.instrument('heater').output)";
  module.attr("__version__") = LOOPBOX_VERSION;
  const py::exception<std::runtime_error> error(module, "Error", PyExc_RuntimeError);
  error.attr("__doc__") = "What is wrong, as a text; `diagnostics` has what is wrong with an application, one by one.";
  DefineRecords(module);
  DefineInstrument(module);
  DefineApplication(module);
  module.def("read", &Read, py::arg("path") = py::none(), py::kw_only(), py::arg("text") = py::none(),
             py::arg("name") = "text", py::arg("folder") = py::none(), py::arg("period") = py::none(),
             py::arg("duration") = py::none(), py::arg("set") = py::dict(), py::arg("seed") = 1,
             py::arg("plugin") = py::none(), py::arg("keep") = true, py::arg("every") = 1,
             "Reads an application from a file, or from text=, which messages call `name`, and which finds\n"
             "what it includes and its parameter files in `folder`. `period` and `duration`, in seconds, and\n"
             "`set`, {name: value}, replace what the text says. With keep=False nothing learnt is written.\n"
             "A row of the trace is kept every `every` periods; 0: none.");
  module.def(
      "language",
      [](const std::string& name) {
        std::string problem;
        {
          const CTurn turn;
          python::ChooseLanguage(name, &problem);
        }
        RaiseIf(problem);
      },
      py::arg("name"), "The language of all messages from now on: 'en', as from the start, or 'cs'.");
}
