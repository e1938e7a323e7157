// The provider library: which classes it has. Tested by provider_test.cc.
#include "automation/provider.h"

#include "providers/adodb/connection.h"
#include "providers/adodb/recordset.h"

namespace pv::adodb {
namespace {

using automation::MakeObject;
using automation::Object;
using automation::ProviderClass;
using automation::Ref;

constexpr ProviderClass kClasses[] = {
    {"ADODB.Connection", [] { return Ref<Object>(MakeObject<Connection>()); }},
    {"ADODB.Recordset", [] { return Ref<Object>(MakeObject<Recordset>()); }},
};
constexpr automation::Provider kProvider = {automation::kProviderBuild, kClasses,
                                            std::size(kClasses)};

}  // namespace
}  // namespace pv::adodb

PV_PROVIDER_FUNCTION { return &pv::adodb::kProvider; }
