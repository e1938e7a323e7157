// Reading and writing connection strings. Tested by connection_string_test.cc.
#include "providers/adodb/connection_string.h"

#include "base/text.h"
#include "providers/adodb/error_numbers.h"

namespace pv::adodb {
namespace {

constexpr const char* kBlanks = " \t\r\n";

// How ODBC calls what OLE DB calls otherwise; null for what ODBC has no word for.
struct Synonym {
  const char* ole_db;
  const char* odbc;
};
constexpr Synonym kSynonyms[] = {
    {"Data Source", "DSN"},
    {"Server Name", "Server"},
    {"User ID", "UID"},
    {"User", "UID"},
    {"Password", "PWD"},
    {"Initial Catalog", "Database"},
    {"Persist Security Info", nullptr},
    {"Prompt", nullptr},
    {"Window Handle", nullptr},
    {"Locale Identifier", nullptr},
    {"Connect Timeout", nullptr},
    {"General Timeout", nullptr},
    {"Cache Authentication", nullptr},
    {"Encrypt Password", nullptr},
    {"Mask Password", nullptr},
    {"Impersonation Level", nullptr},
    {"Protection Level", nullptr},
    {"Mode", nullptr},
    {"Location", nullptr},
};

bool IsSecret(std::string_view key) {
  return EqualsIgnoreCase(key, "PWD") || EqualsIgnoreCase(key, "Password");
}

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Reads a value that begins at `*pos` and moves past it and its semicolon.
Status ReadValue(std::string_view text, std::string_view key, std::size_t* pos,
                 std::string* value) {
  while (*pos < text.size() && std::string_view(kBlanks).find(text[*pos]) != std::string_view::npos)
    ++*pos;
  const char open = *pos < text.size() ? text[*pos] : ';';
  if (open != '{' && open != '"' && open != '\'') {
    const std::size_t end = std::min(text.find(';', *pos), text.size());
    *value = Trim(text.substr(*pos, end - *pos));
    *pos = end + 1;
    return Status::Ok();
  }
  const char close = open == '{' ? '}' : open;
  for (++*pos;; ++*pos) {
    if (*pos >= text.size()) {
      return Status::Invalid("the connection string's value of " + std::string(key) +
                             " has no closing " + close);
    }
    if (text[*pos] == close) {
      if (*pos + 1 >= text.size() || text[*pos + 1] != close) break;
      ++*pos;
    }
    value->push_back(text[*pos]);
  }
  ++*pos;
  const std::size_t end = std::min(text.find(';', *pos), text.size());
  if (!Trim(text.substr(*pos, end - *pos)).empty()) {
    return Status::Invalid("the connection string goes on behind the closing " +
                           std::string(1, close) + " of " + std::string(key));
  }
  *pos = end + 1;
  return Status::Ok();
}

}  // namespace

Result<ConnectionString> ConnectionString::Parse(std::string_view text) {
  ConnectionString result;
  if (Trim(text).empty()) return result;
  if (text.find('\0') != std::string_view::npos) {
    return Status::Invalid("the connection string has a zero character");
  }
  if (text.find('=') == std::string_view::npos && text.find(';') == std::string_view::npos) {
    result.Set("DSN", std::string(Trim(text)));
    return result;
  }
  PV_RETURN_IF_ERROR(result.Add(text, 0));
  return result;
}

Status ConnectionString::Add(std::string_view text, int depth) {
  std::size_t pos = 0;
  while (pos < text.size()) {
    const std::size_t sign = text.find_first_of("=;", pos);
    const std::string key(Trim(text.substr(pos, sign - pos)));
    if (sign == std::string_view::npos || text[sign] == ';') {
      // The text of a pair that went wrong may be a part of a password: it is not shown.
      if (!key.empty()) return Status::Invalid("the connection string has a part without \"=\"");
      if (sign == std::string_view::npos) break;
      pos = sign + 1;
      continue;
    }
    if (key.empty()) return Status::Invalid("the connection string has a value without a keyword");
    pos = sign + 1;
    std::string value;
    PV_RETURN_IF_ERROR(ReadValue(text, key, &pos, &value));
    if (EqualsIgnoreCase(key, "Provider")) {
      const std::string_view name = value;
      if (!EqualsIgnoreCase(name.substr(0, name.find('.')), "MSDASQL")) {
        return Status(StatusCode::kUnsupported,
                      "the provider \"" + value +
                          "\" cannot be found; databases are reached by "
                          "ODBC (MSDASQL)",
                      kErrProviderNotFound);
      }
      continue;
    }
    if (EqualsIgnoreCase(key, "Extended Properties")) {
      if (depth > 0) return Status::Invalid("the connection string is nested");
      PV_RETURN_IF_ERROR(Add(value, depth + 1));
      continue;
    }
    const char* odbc = key.c_str();
    for (const Synonym& synonym : kSynonyms) {
      if (EqualsIgnoreCase(key, synonym.ole_db)) odbc = synonym.odbc;
    }
    // As in ODBC, the first of several values of a keyword counts.
    if (odbc != nullptr) SetDefault(odbc, std::move(value));
  }
  return Status::Ok();
}

const std::string* ConnectionString::Find(std::string_view key) const {
  for (const Pair& pair : pairs_) {
    if (EqualsIgnoreCase(pair.key, key)) return &pair.value;
  }
  return nullptr;
}

void ConnectionString::Set(std::string_view key, std::string value) {
  for (Pair& pair : pairs_) {
    if (EqualsIgnoreCase(pair.key, key)) {
      pair.value = std::move(value);
      return;
    }
  }
  pairs_.push_back({std::string(key), std::move(value)});
}

void ConnectionString::SetDefault(std::string_view key, std::string value) {
  if (Find(key) == nullptr) pairs_.push_back({std::string(key), std::move(value)});
}

std::string ConnectionString::Join(bool secrets) const {
  std::string text;
  for (const Pair& pair : pairs_) {
    if (!secrets && IsSecret(pair.key)) continue;
    text.append(pair.key).push_back('=');
    const bool plain = !EqualsIgnoreCase(pair.key, "Driver") &&
                       pair.value.find_first_of(";{}[](),?*=!@\"'") == std::string::npos &&
                       Trim(pair.value).size() == pair.value.size();
    if (plain) {
      text.append(pair.value);
    } else {
      text.push_back('{');
      for (const char c : pair.value) text.append(c == '}' ? 2 : 1, c);
      text.push_back('}');
    }
    text.push_back(';');
  }
  return text;
}

std::string ConnectionString::Text() const { return Join(true); }

std::string ConnectionString::TextWithoutSecrets() const { return Join(false); }

std::string ConnectionString::Redacted(std::string text) const {
  for (const Pair& pair : pairs_) {
    if (!IsSecret(pair.key) || pair.value.empty()) continue;
    for (std::size_t at = 0; (at = text.find(pair.value, at)) != std::string::npos; at += 3) {
      text.replace(at, pair.value.size(), "***");
    }
  }
  return text;
}

}  // namespace pv::adodb
