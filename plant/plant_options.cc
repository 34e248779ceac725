// What the command line says of a plant.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "plant/plant.h"
#include "runtime/block.h"

namespace plant {
namespace {

constexpr char kDryWord[] = "dry";

std::vector<std::string> NamesOf(const TConnections& connections) {
  std::vector<std::string> names;
  for (const TConnection& connection : connections) names.push_back(connection.name);
  return names;
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

bool ReadPlantWords(const TConnections& connections, const std::string& words, TPlantOptions* options,
                    std::string* error) {
  const std::vector<std::string> names = NamesOf(connections);
  for (std::size_t begin = 0; begin < words.size();) {
    const std::size_t end = std::min(words.find(',', begin), words.size());
    const std::string word = words.substr(begin, end - begin);
    begin = end + 1;
    if (word == kDryWord) {
      options->isDry = true;
    } else if (Contains(names, word)) {
      options->connected.push_back(word);
    } else {
      *error = "there is no connection '" + word + "'" + runtime::CBlockText::MeantBy(word, names);
      return false;
    }
  }
  if (options->connected.empty()) options->connected = names;
  return true;
}

bool ReadLoss(const TConnections& connections, const std::string& text, TPlantOptions* options, std::string* error) {
  TLoss loss;
  const std::size_t at = text.find('@');
  loss.name = text.substr(0, at);
  std::vector<std::string> names;
  bool isThere = false;
  for (const TConnection& connection : connections) {
    names.push_back(connection.name);
    bool isMeant = loss.name == connection.name;
    for (const TInput& input : connection.inputs) {
      names.push_back(input.name);
      isMeant = isMeant || loss.name == input.name;
    }
    isThere = isThere || isMeant;
    if (!isMeant || !Contains(options->connected, connection.name)) continue;
    *error = "'" + loss.name + "' is connected: only what is simulated is taken away";
    return false;
  }
  if (!isThere) {
    *error = "'" + loss.name + "' is no input and no connection" + runtime::CBlockText::MeantBy(loss.name, names);
    return false;
  }
  char* end = nullptr;
  loss.from = std::strtod(text.c_str() + at + 1, &end);
  loss.to = std::strtod(end + 1, nullptr);
  options->losses.push_back(std::move(loss));
  return true;
}

}  // namespace plant
