// Cursors of PostgreSQL's. Tested by database_walk_test.cc.
#include "providers/adodb/server_cursor.h"

namespace pv::adodb {

Result<std::unique_ptr<ServerCursor>> ServerCursor::Open(const std::shared_ptr<Session>& session,
                                                         std::string_view sql) {
  PV_ASSIGN_OR_RETURN(Statement statement, Statement::Make(session));
  std::unique_ptr<ServerCursor> cursor(new ServerCursor(session, session->NewTemporaryName()));
  PV_RETURN_IF_ERROR(session->BeginWalk(cursor.get()));
  // It outlives its transaction: the server then puts aside what is left of it.
  const Status declared = statement.ExecuteInWalk(
      "DECLARE " + cursor->name_ + " NO SCROLL CURSOR WITH HOLD FOR " + std::string(sql));
  if (declared.ok()) return cursor;
  session->EndWalk(cursor.get());
  cursor->session_ = nullptr;
  return declared;
}

ServerCursor::~ServerCursor() {
  if (session_ == nullptr || !session_->is_open()) return;
  Result<Statement> close = Statement::Make(session_);
  // What cannot be closed goes with the connection.
  if (close.ok()) (void)close->ExecuteInWalk("CLOSE " + name_).ok();
  session_->EndWalk(this);
}

Status ServerCursor::OpenPage(Statement* statement) {
  PV_RETURN_IF_ERROR(statement->Check(::SQLFreeStmt(statement->handle(), SQL_CLOSE)));
  return statement->ExecuteInWalk("FETCH FORWARD " + std::to_string(Session::kServerRows) +
                                  " FROM " + name_);
}

}  // namespace pv::adodb
