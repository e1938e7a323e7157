// PV_API marks what the shared library shows to programs that link it.
#ifndef PVGROUPMAN_AUTOMATION_API_H_
#define PVGROUPMAN_AUTOMATION_API_H_

#if defined(_WIN32)
#define PV_API
#else
#define PV_API __attribute__((visibility("default")))
#endif

#endif  // PVGROUPMAN_AUTOMATION_API_H_
