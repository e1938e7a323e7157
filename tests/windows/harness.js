// Stands before every JScript of the suite: checks, each of which leaves a line, and a last line that
// says how many there were. The first argument is the folder for groups.
var checks_ = 0, failures_ = 0;

function fail(what, text) {
  failures_++;
  WScript.Echo("FAIL " + what + ": " + text);
}

function check(what, got, want) {
  checks_++;
  WScript.Echo("  " + what);
  if (got !== want) fail(what, typeof got + " " + got + " instead of " + typeof want + " " + want);
}

function checkError(what, number, description, action) {
  checks_++;
  WScript.Echo("  " + what);
  try {
    action();
  } catch (e) {
    if ((e.number & 0xFFFF) !== (number & 0xFFFF) || e.description !== description) {
      fail(what, e.number + " / " + e.description + " instead of " + number + " / " + description);
    }
    return;
  }
  fail(what, "no error");
}

function done() { WScript.Echo("DONE " + checks_ + " checks, " + failures_ + " failures"); }

var dataFolder = WScript.Arguments(0);
var settings = new ActiveXObject("PVGroupMan.Settings");
settings.GroupDataFolder = dataFolder;

