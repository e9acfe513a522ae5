@echo off
rem Registers the Fennoria source filter, the fennoria.dll beside this file.
rem Run it from an administrator prompt. Arguments go on to regsvr32
rem (/s: no message box).
regsvr32 %* "%~dp0fennoria.dll"
exit /b %errorlevel%
