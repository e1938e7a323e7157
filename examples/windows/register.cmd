@echo off
rem Registers the component that lies beside this file, for programs of 32 bits and of 64 bits.
rem   register          for everybody on this machine (as administrator)
rem   register user     for you alone
rem   unregister with   register remove   or   register remove user
setlocal
set how=
set undo=
if /i "%1"=="remove" (
  set undo=/u
  shift
)
if /i "%1"=="user" set how=/n /i:user
set system32=%SystemRoot%\System32
set system86=%SystemRoot%\SysWOW64
if not exist "%system86%\regsvr32.exe" set system86=%SystemRoot%\System32
"%system86%\regsvr32.exe" /s %undo% %how% "%~dp0x86\pvgrpman.dll" || goto failed
if /i "%system86%"=="%system32%" goto done
"%system32%\regsvr32.exe" /s %undo% %how% "%~dp0x64\pvgrpman.dll" || goto failed
:done
echo Done.
exit /b 0
:failed
echo regsvr32 failed with %errorlevel%.
exit /b 1
