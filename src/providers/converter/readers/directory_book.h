// The people and groups of an LDAP directory.
#ifndef PV_PROVIDERS_CONVERTER_READERS_DIRECTORY_BOOK_H_
#define PV_PROVIDERS_CONVERTER_READERS_DIRECTORY_BOOK_H_

#include <memory>
#include <string>

#include "base/status.h"
#include "providers/converter/model/book.h"
#include "providers/converter/open_book.h"

namespace pv::converter {

// Why directories cannot be read here, if they cannot: the library for them is not installed.
Status DirectoryAvailable();

// Reads the directory at an LDAP URL (ldap:// or ldaps://host:port/base?attributes?scope?filter):
// below its base and by its filter, all people and groups unless it says otherwise; its attributes
// are not used. Extensions of the URL:
//
//   bindname=DN   who asks (else nobody), with the password of `access` or of the environment
//                 variable PVGROUP_LDAP_PASSWORD
//   x-tls=off     without TLS, which is otherwise begun on ldap:// connections or the reading
//                 refused. A password is then sent to this machine only.
//
// What the directory sends is kept in a private temporary file without a name, so that positions
// stay what they are and memory does not grow with it.
Result<std::unique_ptr<Book>> OpenDirectory(const std::string& url, const Access& access);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_DIRECTORY_BOOK_H_
