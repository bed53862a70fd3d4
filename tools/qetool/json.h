// JSON output.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qetool {

/// A JSON document, built from its first bracket to its last. Members of an object have a key, items of a
/// list have none.
class Json {
 public:
  void BeginObject(std::string_view key = {}) { Begin(key, '{', '}'); }
  void BeginList(std::string_view key = {}) { Begin(key, '[', ']'); }
  /// Ends the innermost object or list.
  void End();

  void AddText(std::string_view key, std::string_view value);
  void AddNumber(std::string_view key, unsigned long long value);
  void AddTruth(std::string_view key, bool value);
  /// Null for a number that JSON does not have.
  void AddReal(std::string_view key, double value);

  /// Prints the document, which is complete, to standard output.
  void Print() const;

 private:
  void Begin(std::string_view key, char bracket, char closing);
  void AddKey(std::string_view key);
  void AddQuoted(std::string_view value);

  std::string text;
  std::vector<char> closings;
  bool isFirst = true;  // in the innermost object or list
};

}  // namespace qetool
