@echo off
rem Unregisters the Fennoria source filter, the fennoria.dll beside this file.
rem Run it from an administrator prompt. Arguments go on to regsvr32
rem (/s: no message box).
regsvr32 /u %* "%~dp0fennoria.dll"
exit /b %errorlevel%
