// Classes that lie in libraries of their own, loaded when one of them is first asked for: so the
// component itself needs nothing but the C++ library.
//
// A provider is looked for in the folder PVGROUP_PROVIDERS when that is set, and nowhere else;
// otherwise beside the component, in `providers` beside its folder (as in a build tree), and where
// `cmake --install` puts it.
#ifndef PV_SERVER_PROVIDERS_H_
#define PV_SERVER_PROVIDERS_H_

namespace pv::server {

// Sees to it that CreateObject loads the provider of a ProgID that it does not know. A provider
// that cannot be loaded leaves the ProgID unknown (error 429), with the reason; the next request
// tries again.
void UseProviders();

}  // namespace pv::server

#endif  // PV_SERVER_PROVIDERS_H_
