@echo off
rem Registers the Fennoria source filter, the fennoria.dll beside this file.
rem Run it from an administrator prompt. Arguments go on to regsvr32
rem (/s: no message box). It also makes list files (.lst) open with the
rem filter in RenderFile, unless another filter already opens them.
rem
rem Graph editors show the filter's About page. To show its Settings page
rem beside it (the loaded disc's title sets, program chains and audio, and
rem the read settings), store the DWORD SettingsPage = 1 for the user:
rem   reg add HKCU\SOFTWARE\Ormelund\Trivane\Fennoria /v SettingsPage /t REG_DWORD /d 1 /f
rem or, with the tool beside this file: fennoria config set SettingsPage 1
regsvr32 %* "%~dp0fennoria.dll"
exit /b %errorlevel%
