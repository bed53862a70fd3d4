#include "json.h"

#include <stdio.h>

#include <cmath>

#include "text.h"

namespace qetool {

void Json::Begin(std::string_view key, char bracket, char closing) {
  AddKey(key);
  text += bracket;
  closings.push_back(closing);
  isFirst = true;
}

void Json::End() {
  char const closing = closings.back();
  closings.pop_back();
  if (!isFirst) text.append("\n").append(2 * closings.size(), ' ');
  text += closing;
  isFirst = false;
}

void Json::AddText(std::string_view key, std::string_view value) {
  AddKey(key);
  AddQuoted(value);
}

void Json::AddNumber(std::string_view key, unsigned long long value) {
  AddKey(key);
  text += std::to_string(value);
}

void Json::AddTruth(std::string_view key, bool value) {
  AddKey(key);
  text += value ? "true" : "false";
}

void Json::AddReal(std::string_view key, double value) {
  AddKey(key);
  text += std::isfinite(value) ? Format("%.10g", value) : "null";
}

void Json::Print() const { printf("%s\n", text.c_str()); }

void Json::AddKey(std::string_view key) {
  if (!closings.empty()) text.append(isFirst ? "\n" : ",\n").append(2 * closings.size(), ' ');
  isFirst = false;
  if (key.empty()) return;
  AddQuoted(key);
  text += ": ";
}

void Json::AddQuoted(std::string_view value) {
  text += '"';
  for (char const c : value) {
    if (static_cast<unsigned char>(c) < ' ') {
      text += Format("\\u%04x", c);
    } else {
      if (c == '"' || c == '\\') text += '\\';
      text += c;
    }
  }
  text += '"';
}

}  // namespace qetool
