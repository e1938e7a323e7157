// What makes objects of one class for the automation runtime.
#ifndef PV_SERVER_COM_CLASS_FACTORY_H_
#define PV_SERVER_COM_CLASS_FACTORY_H_

#include "server/class_list.h"
#include "server/com/com_api.h"

namespace pv::server::com {

class ClassFactory : public Counted<IClassFactory> {
 public:
  explicit ClassFactory(const PublicClass& entry) : entry_(entry) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid,
                                           void** out) noexcept override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

 protected:
  void* FindInterface(REFIID iid) noexcept override;

 private:
  const PublicClass& entry_;
};

}  // namespace pv::server::com

#endif  // PV_SERVER_COM_CLASS_FACTORY_H_
