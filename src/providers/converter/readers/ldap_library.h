// The library that speaks LDAP, loaded when it is first needed.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDAP_LIBRARY_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDAP_LIBRARY_H_

#include <ldap.h>

#include "base/status.h"

namespace pv::converter {

// The functions in use, by their own names.
#define PV_LDAP_FUNCTIONS(X)         \
  X(ldap_initialize)                 \
  X(ldap_unbind_ext_s)               \
  X(ldap_set_option)                 \
  X(ldap_get_option)                 \
  X(ldap_start_tls_s)                \
  X(ldap_sasl_bind_s)                \
  X(ldap_url_parse)                  \
  X(ldap_free_urldesc)               \
  X(ldap_search_ext)                 \
  X(ldap_result)                     \
  X(ldap_msgtype)                    \
  X(ldap_msgfree)                    \
  X(ldap_parse_result)               \
  X(ldap_get_dn)                     \
  X(ldap_first_attribute)            \
  X(ldap_next_attribute)             \
  X(ldap_get_values_len)             \
  X(ldap_value_free_len)             \
  X(ldap_create_page_control)        \
  X(ldap_parse_pageresponse_control) \
  X(ldap_control_find)               \
  X(ldap_control_free)               \
  X(ldap_controls_free)              \
  X(ldap_err2string)                 \
  X(ldap_memfree)                    \
  X(ber_free)                        \
  X(ber_memfree)

struct LdapLibrary {
#define PV_LDAP_MEMBER(name) decltype(&::name) name = nullptr;
  PV_LDAP_FUNCTIONS(PV_LDAP_MEMBER)
#undef PV_LDAP_MEMBER

  // kUnsupported when the library is not installed.
  static Result<const LdapLibrary*> Load();
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_LDAP_LIBRARY_H_
