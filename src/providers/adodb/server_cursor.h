// A cursor of a PostgreSQL server, which gives its rows page by page.
#ifndef PV_PROVIDERS_ADODB_SERVER_CURSOR_H_
#define PV_PROVIDERS_ADODB_SERVER_CURSOR_H_

#include <memory>
#include <string>
#include <string_view>

#include "base/status.h"
#include "providers/adodb/session.h"

namespace pv::adodb {

// The driver has cursors of its own, but it crashes where an error comes behind the first rows of
// a page: a row that cannot be computed, a server that dies. Pages that plain statements ask for
// are whole, or an error.
class ServerCursor {
 public:
  // Fails for what no cursor can be made for; nothing has happened then.
  static Result<std::unique_ptr<ServerCursor>> Open(const std::shared_ptr<Session>& session,
                                                    std::string_view sql);
  ~ServerCursor();
  ServerCursor(const ServerCursor&) = delete;
  ServerCursor& operator=(const ServerCursor&) = delete;

  // Has the statement give the next rows, or none behind the last; its bindings stay.
  Status OpenPage(Statement* statement);

 private:
  ServerCursor(std::shared_ptr<Session> session, std::string name)
      : session_(std::move(session)), name_(std::move(name)) {}

  std::shared_ptr<Session> session_;
  std::string name_;
};

}  // namespace pv::adodb

#endif  // PV_PROVIDERS_ADODB_SERVER_CURSOR_H_
