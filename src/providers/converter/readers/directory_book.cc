// Reads a directory. Tested by tests/directory.
#include "providers/converter/readers/directory_book.h"

#include <cstring>
#include <optional>
#include <utility>

#include "base/text.h"
#include "platform/system.h"
#include "providers/converter/readers/ldap_library.h"
#include "providers/converter/readers/ldif_book.h"
#include "providers/converter/text/decode.h"
#include "providers/converter/text/line_reader.h"

namespace pv::converter {
namespace {

constexpr int kPage = 500;
constexpr long kSecondsToConnect = 10;
constexpr long kSecondsBetweenAnswers = 60;
constexpr std::size_t kBuffer = std::size_t{64} << 10;

constexpr const char* kEverybody =
    "(|(objectClass=person)(objectClass=inetOrgPerson)(objectClass=groupOfNames)"
    "(objectClass=groupOfUniqueNames)(objectClass=group))";

// The names under which systems have it.
constexpr const char* kLibraries[] = {"libldap-2.5.so.0", "libldap.so.2", "libldap-2.4.so.2"};

// A file without a name that LDIF is written to.
class Spool {
 public:
  static Result<std::unique_ptr<Spool>> Make();

  void Put(std::string_view name, std::string_view value);
  // A value that is too long to be one: who reads the entry is told so.
  void PutUnusable(std::string_view name) { buffer_.append(name).append(":<\n"); }
  void EndEntry() { buffer_ += '\n'; }
  Status Flush();
  Status FlushWhenFull() { return buffer_.size() < kBuffer ? Status::Ok() : Flush(); }

  std::unique_ptr<platform::File> Take() { return std::move(file_); }

 private:
  std::unique_ptr<platform::File> file_;
  std::string buffer_;
  std::uint64_t size_ = 0;
};

Result<std::unique_ptr<Spool>> Spool::Make() {
  const platform::System& system = platform::CurrentSystem();
  std::string folder = system.process->Environment("TMPDIR").value_or("");
  if (folder.empty()) folder = "/tmp";
  const auto identifier = system.process->NewIdentifier();
  if (!identifier) return Status::IoError("the system has no identifier for a temporary file");
  std::string name = "pvgroup-";
  for (const std::uint8_t byte : *identifier) {
    name += "0123456789abcdef"[byte >> 4];
    name += "0123456789abcdef"[byte & 15];
  }
  const std::string path = platform::JoinPath(folder, name);
  platform::OpenOptions options;
  options.create = platform::CreateMode::kCreateNew;
  auto spool = std::make_unique<Spool>();
  PV_ASSIGN_OR_RETURN(spool->file_, system.files->Open(path, options));
  PV_RETURN_IF_ERROR(system.files->Remove(path));
  return spool;
}

// Values always go in base64: any byte may be in them.
void Spool::Put(std::string_view name, std::string_view value) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  buffer_.append(name).append(":: ");
  for (std::size_t i = 0; i < value.size(); i += 3) {
    std::uint32_t bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      const auto byte = i + k < value.size() ? static_cast<unsigned char>(value[i + k]) : 0U;
      bits = bits << 8 | byte;
    }
    const std::size_t digits = std::min<std::size_t>(value.size() - i, 3) + 1;
    for (std::size_t k = 0; k < digits; ++k) buffer_ += kDigits[bits >> (18 - 6 * k) & 63];
  }
  buffer_ += '\n';
}

Status Spool::Flush() {
  PV_RETURN_IF_ERROR(file_->Write(size_, buffer_.data(), buffer_.size()));
  size_ += buffer_.size();
  buffer_.clear();
  return Status::Ok();
}

bool IsThisMachine(const std::string& host) {
  return host.empty() || host == "localhost" || host == "127.0.0.1" || host == "::1" ||
         host == "[::1]";
}

// What the URL asks for.
struct Request {
  std::string server;  // the part of the URL that the connection is made by
  std::string host;
  std::string base;
  std::string filter = kEverybody;
  int scope = LDAP_SCOPE_SUBTREE;
  bool start_tls = true;
  bool encrypted = true;
  std::string bind_name;
};

// What stands behind the n-th "?" of the URL, up to the next.
std::string_view UrlPart(std::string_view url, int n) {
  for (; n > 0; --n) {
    const std::size_t mark = url.find('?');
    if (mark == std::string_view::npos) return {};
    url.remove_prefix(mark + 1);
  }
  return url.substr(0, url.find('?'));
}

Result<Request> ParseUrl(const LdapLibrary& ldap, const std::string& url) {
  LDAPURLDesc* parts = nullptr;
  const int code = ldap.ldap_url_parse(url.c_str(), &parts);
  if (code != 0 || parts == nullptr) {
    return Status::Invalid(url + ": this is no LDAP URL, as ldap://host/base is");
  }
  Request request;
  const std::string scheme = parts->lud_scheme != nullptr ? parts->lud_scheme : "ldap";
  request.host = parts->lud_host != nullptr ? parts->lud_host : "";
  if (parts->lud_dn != nullptr) request.base = parts->lud_dn;
  // Left out, the library would put the base alone and everything in its place.
  if (!UrlPart(url, 3).empty() && parts->lud_filter != nullptr) request.filter = parts->lud_filter;
  if (!UrlPart(url, 2).empty()) request.scope = parts->lud_scope;
  bool tls = true;
  std::string unknown;
  for (char** extension = parts->lud_exts; extension != nullptr && *extension != nullptr;
       ++extension) {
    std::string_view text = *extension;
    const bool critical = text.starts_with('!');
    if (critical) text.remove_prefix(1);
    const std::size_t equals = text.find('=');
    const std::string_view name = text.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : text.substr(equals + 1);
    if (EqualsIgnoreCase(name, "bindname")) {
      request.bind_name = value;
    } else if (EqualsIgnoreCase(name, "x-tls") && EqualsIgnoreCase(value, "off")) {
      tls = false;
    } else {
      unknown = text;
    }
  }
  const std::string host = request.host.find(':') != std::string::npos && request.host[0] != '['
                               ? "[" + request.host + "]"
                               : request.host;
  request.server = scheme + "://" + host;
  if (parts->lud_port != 0) request.server += ":" + std::to_string(parts->lud_port);
  ldap.ldap_free_urldesc(parts);
  if (!unknown.empty()) {
    return Status::Invalid(url + ": the extension \"" + unknown + "\" of the URL is not known");
  }
  if (scheme != "ldap" && scheme != "ldaps") {
    return Status::Invalid(url + ": the URL must begin with ldap:// or ldaps://");
  }
  request.start_tls = scheme == "ldap" && tls;
  request.encrypted = scheme == "ldaps" || tls;
  return request;
}

// "member;range=0-1499": large groups send their members in parts, "member;range=1500-*" the last.
struct ValueRange {
  std::string_view attribute;
  bool all = true;         // nothing follows
  std::uint32_t next = 0;  // else the number of the next value
};

ValueRange ParseValueRange(std::string_view name) {
  constexpr std::string_view kMark = ";range=";
  const std::size_t mark = ToLower(name).find(kMark);
  if (mark == std::string::npos) return {name};
  const std::string_view numbers = name.substr(mark + kMark.size());
  const std::size_t dash = numbers.find('-');
  ValueRange range{name.substr(0, mark)};
  if (dash == std::string_view::npos) return range;
  const std::string_view last = numbers.substr(dash + 1, numbers.find(';') - dash - 1);
  const auto number = ParseDecimal(last);
  if (last == "*" || !number || *number >= UINT32_MAX) return range;
  range.all = false;
  range.next = static_cast<std::uint32_t>(*number) + 1;
  return range;
}

class Search {
 public:
  Search(const LdapLibrary& ldap, std::string url) : ldap_(ldap), url_(std::move(url)) {}
  ~Search() {
    if (session_ != nullptr) ldap_.ldap_unbind_ext_s(session_, nullptr, nullptr);
  }
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;

  Status Connect(const Request& request, const Access& access);
  Status ReadAll(const Request& request, Spool* spool);

 private:
  Status Failure(const char* what, int code);
  Status Ask(const char* base, int scope, const char* filter, const char* const* attributes,
             LDAPControl** controls, int* message);
  template <typename TakeEntry>
  Status ReadAnswers(int message, berval* cookie, TakeEntry take);
  Status ReadPage(const Request& request, Spool* spool, berval* cookie);
  Status PutEntry(LDAPMessage* entry, Spool* spool);
  template <typename Take>
  Status ForEachAttribute(LDAPMessage* entry, Take take);
  void PutValues(LDAPMessage* entry, const char* name, std::string_view plain, Spool* spool);
  Status PutRest(const std::string& dn, const std::string& attribute, std::uint32_t from,
                 Spool* spool);
  Status EndPage(LDAPMessage* result, berval* cookie);

  const LdapLibrary& ldap_;
  std::string url_;
  LDAP* session_ = nullptr;
};

Status Search::Failure(const char* what, int code) {
  std::string message = url_ + ": " + what + ": " + ldap_.ldap_err2string(code);
  char* more = nullptr;
  if (session_ != nullptr &&
      ldap_.ldap_get_option(session_, LDAP_OPT_DIAGNOSTIC_MESSAGE, &more) == 0 && more != nullptr) {
    if (*more != '\0') message.append(" (").append(more).append(")");
    ldap_.ldap_memfree(more);
  }
  switch (code) {
    case LDAP_NO_SUCH_OBJECT:
      return Status::NotFound(std::move(message));
    case LDAP_INVALID_CREDENTIALS:
    case LDAP_INSUFFICIENT_ACCESS:
    case LDAP_STRONG_AUTH_REQUIRED:
    case LDAP_CONFIDENTIALITY_REQUIRED:
      return Status::Denied(std::move(message));
    default:
      return Status::IoError(std::move(message));
  }
}

Status Search::Connect(const Request& request, const Access& access) {
  int code = ldap_.ldap_initialize(&session_, request.server.c_str());
  if (code != LDAP_SUCCESS) return Failure("cannot connect", code);
  const int version = LDAP_VERSION3;
  const timeval connect{kSecondsToConnect, 0};
  const timeval answer{kSecondsBetweenAnswers, 0};
  ldap_.ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_.ldap_set_option(session_, LDAP_OPT_NETWORK_TIMEOUT, &connect);
  ldap_.ldap_set_option(session_, LDAP_OPT_TIMEOUT, &answer);
  // What another server says of the same people would come without TLS and under no name of ours.
  ldap_.ldap_set_option(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  if (request.start_tls) {
    code = ldap_.ldap_start_tls_s(session_, nullptr, nullptr);
    if (code != LDAP_SUCCESS) return Failure("cannot begin TLS", code);
  }
  std::string password;
  if (!request.bind_name.empty()) {
    const auto variable = platform::CurrentSystem().process->Environment("PVGROUP_LDAP_PASSWORD");
    password = access.password ? *access.password : variable.value_or("");
    // Without one the server would take the name for nobody's and say that all is well.
    if (password.empty()) {
      return Status::Denied(url_ + ": a password is needed: set PVGROUP_LDAP_PASSWORD");
    }
    if (!request.encrypted && !IsThisMachine(request.host)) {
      return Status::Denied(url_ + ": a password is not sent without TLS");
    }
  }
  berval credentials{static_cast<ber_len_t>(password.size()), password.data()};
  code = ldap_.ldap_sasl_bind_s(session_, request.bind_name.c_str(), LDAP_SASL_SIMPLE, &credentials,
                                nullptr, nullptr, nullptr);
  return code == LDAP_SUCCESS ? Status::Ok() : Failure("cannot log in", code);
}

template <typename Take>
Status Search::ForEachAttribute(LDAPMessage* entry, Take take) {
  BerElement* place = nullptr;
  Status status;
  for (char* name = ldap_.ldap_first_attribute(session_, entry, &place); name != nullptr;
       name = ldap_.ldap_next_attribute(session_, entry, place)) {
    if (status.ok()) status = take(name);
    ldap_.ldap_memfree(name);
  }
  if (place != nullptr) ldap_.ber_free(place, 0);
  return status;
}

void Search::PutValues(LDAPMessage* entry, const char* name, std::string_view plain, Spool* spool) {
  berval** const values = ldap_.ldap_get_values_len(session_, entry, name);
  for (berval** value = values; value != nullptr && *value != nullptr; ++value) {
    if ((*value)->bv_len <= LineReader::kLongest / 2) {
      spool->Put(plain, {(*value)->bv_val, (*value)->bv_len});
    } else {
      spool->PutUnusable(plain);
    }
  }
  if (values != nullptr) ldap_.ldap_value_free_len(values);
}

Status Search::PutEntry(LDAPMessage* entry, Spool* spool) {
  char* const name = ldap_.ldap_get_dn(session_, entry);
  if (name == nullptr) return Status::Ok();
  const std::string dn = name;
  ldap_.ldap_memfree(name);
  spool->Put("dn", dn);
  PV_RETURN_IF_ERROR(ForEachAttribute(entry, [&](const char* attribute) {
    const ValueRange range = ParseValueRange(attribute);
    PutValues(entry, attribute, range.attribute, spool);
    if (range.all) return Status::Ok();
    return PutRest(dn, std::string(range.attribute), range.next, spool);
  }));
  spool->EndEntry();
  return spool->FlushWhenFull();
}

// The values from the one with the number `from` on, which the directory has not sent by itself.
Status Search::PutRest(const std::string& dn, const std::string& attribute, std::uint32_t from,
                       Spool* spool) {
  for (bool all = false; !all;) {
    const std::string wanted = attribute + ";range=" + std::to_string(from) + "-*";
    const char* const attributes[] = {wanted.c_str(), nullptr};
    int message = 0;
    PV_RETURN_IF_ERROR(
        Ask(dn.c_str(), LDAP_SCOPE_BASE, "(objectClass=*)", attributes, nullptr, &message));
    std::uint32_t next = from;
    PV_RETURN_IF_ERROR(ReadAnswers(message, nullptr, [&](LDAPMessage* entry) {
      return ForEachAttribute(entry, [&](const char* name) {
        const ValueRange range = ParseValueRange(name);
        if (!EqualsIgnoreCase(range.attribute, attribute)) return Status::Ok();
        PutValues(entry, name, attribute, spool);
        all = range.all;
        next = range.next;
        return spool->FlushWhenFull();
      });
    }));
    if (!all && next <= from) {
      return Status::IoError(url_ + ": " + dn + ": the directory does not send the values of " +
                             attribute + " from number " + std::to_string(from) + " on");
    }
    from = next;
  }
  return Status::Ok();
}

// Takes the cookie for the next page out of the end of this one.
Status Search::EndPage(LDAPMessage* result, berval* cookie) {
  int code = LDAP_SUCCESS;
  LDAPControl** controls = nullptr;
  const int parsed =
      ldap_.ldap_parse_result(session_, result, &code, nullptr, nullptr, nullptr, &controls, 0);
  if (parsed != LDAP_SUCCESS) return Failure("the answer cannot be understood", parsed);
  if (controls != nullptr) {
    LDAPControl* const page = ldap_.ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls, nullptr);
    ber_int_t estimate = 0;
    if (page != nullptr && cookie != nullptr) {
      ldap_.ldap_parse_pageresponse_control(session_, page, &estimate, cookie);
    }
    ldap_.ldap_controls_free(controls);
  }
  // References to other servers are passed over, and are no failure.
  if (code != LDAP_SUCCESS && code != LDAP_REFERRAL) return Failure("the search failed", code);
  return Status::Ok();
}

Status Search::Ask(const char* base, int scope, const char* filter, const char* const* attributes,
                   LDAPControl** controls, int* message) {
  const int code =
      ldap_.ldap_search_ext(session_, base, scope, filter, const_cast<char**>(attributes), 0,
                            controls, nullptr, nullptr, LDAP_NO_LIMIT, message);
  return code == LDAP_SUCCESS ? Status::Ok() : Failure("cannot search", code);
}

// Takes the entries that come in answer to a message; the cookie is what its end brings, if any.
template <typename TakeEntry>
Status Search::ReadAnswers(int message, berval* cookie, TakeEntry take) {
  while (true) {
    LDAPMessage* answer = nullptr;
    timeval wait{kSecondsBetweenAnswers, 0};
    const int kind = ldap_.ldap_result(session_, message, LDAP_MSG_ONE, &wait, &answer);
    if (kind <= 0) {
      int error = LDAP_TIMEOUT;
      if (kind < 0) ldap_.ldap_get_option(session_, LDAP_OPT_RESULT_CODE, &error);
      return Failure("the directory does not answer", error);
    }
    Status status;
    if (kind == LDAP_RES_SEARCH_ENTRY) status = take(answer);
    if (kind == LDAP_RES_SEARCH_RESULT) status = EndPage(answer, cookie);
    ldap_.ldap_msgfree(answer);
    PV_RETURN_IF_ERROR(status);
    if (kind == LDAP_RES_SEARCH_RESULT) return Status::Ok();
  }
}

Status Search::ReadPage(const Request& request, Spool* spool, berval* cookie) {
  LDAPControl* page = nullptr;
  int code = ldap_.ldap_create_page_control(session_, kPage, cookie, 0, &page);
  if (code != LDAP_SUCCESS) return Failure("cannot ask for pages", code);
  LDAPControl* controls[] = {page, nullptr};
  int message = 0;
  const Status asked = Ask(request.base.c_str(), request.scope, request.filter.c_str(),
                           DirectoryAttributes(), controls, &message);
  ldap_.ldap_control_free(page);
  if (cookie->bv_val != nullptr) ldap_.ber_memfree(cookie->bv_val);
  *cookie = {};
  PV_RETURN_IF_ERROR(asked);
  return ReadAnswers(message, cookie, [&](LDAPMessage* entry) { return PutEntry(entry, spool); });
}

Status Search::ReadAll(const Request& request, Spool* spool) {
  berval cookie{};
  Status status;
  do {
    status = ReadPage(request, spool, &cookie);
  } while (status.ok() && cookie.bv_len > 0);
  if (cookie.bv_val != nullptr) ldap_.ber_memfree(cookie.bv_val);
  return status.ok() ? spool->Flush() : status;
}

Result<LdapLibrary> LoadFrom(const char* name) {
  platform::Process* const process = platform::CurrentSystem().process;
  LdapLibrary library;
#define PV_LDAP_LOAD(function)                                                              \
  {                                                                                         \
    PV_ASSIGN_OR_RETURN(void* const address, process->LoadSystemFunction(name, #function)); \
    library.function = reinterpret_cast<decltype(library.function)>(address);               \
  }
  PV_LDAP_FUNCTIONS(PV_LDAP_LOAD)
#undef PV_LDAP_LOAD
  return library;
}

}  // namespace

Result<const LdapLibrary*> LdapLibrary::Load() {
  static const Result<LdapLibrary> loaded = []() -> Result<LdapLibrary> {
    Result<LdapLibrary> library = LoadFrom(kLibraries[0]);
    for (std::size_t i = 1; i < std::size(kLibraries) && !library.ok(); ++i) {
      Result<LdapLibrary> other = LoadFrom(kLibraries[i]);
      if (other.ok()) library = std::move(other);
    }
    return library;
  }();
  if (!loaded.ok()) {
    return Status::Unsupported("reading directories needs the package libldap-2.5-0: " +
                               loaded.status().message());
  }
  return &*loaded;
}

Status DirectoryAvailable() { return LdapLibrary::Load().status(); }

Result<std::unique_ptr<Book>> OpenDirectory(const std::string& url, const Access& access) {
  PV_ASSIGN_OR_RETURN(const LdapLibrary* const ldap, LdapLibrary::Load());
  PV_ASSIGN_OR_RETURN(const Request request, ParseUrl(*ldap, url));
  PV_ASSIGN_OR_RETURN(const std::unique_ptr<Spool> spool, Spool::Make());
  {
    Search search(*ldap, url);
    PV_RETURN_IF_ERROR(search.Connect(request, access));
    PV_RETURN_IF_ERROR(search.ReadAll(request, spool.get()));
  }
  return OpenLdif(spool->Take(), url, LdifProfile::kDirectory);
}

}  // namespace pv::converter
