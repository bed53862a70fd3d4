; The installer: makensis -DVERSION=1.0.0 -DSTAGE=FOLDER -DOUTPUT=FILE.exe packaging/qeCore.nsi
;
; STAGE is what `cmake --install` made. Silent: /S, the folder: /D=C:\FOLDER, without quotes and last. For the current user, so that
; no rights of an administrator are needed.
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel user

!include MUI2.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\qeCore"
!define NUMBERS "${VERSION}.0"

Name "qeCore ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$LOCALAPPDATA\Programs\qeCore"
InstallDirRegKey HKCU "${KEY}" "InstallLocation"

VIProductVersion "${NUMBERS}"
VIAddVersionKey "ProductName" "qeCore"
VIAddVersionKey "CompanyName" "the qeCore authors"
VIAddVersionKey "FileDescription" "qeCore installer"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "LegalCopyright" "Copyright (c) the qeCore authors. MIT licence."

!insertmacro MUI_PAGE_LICENSE "${STAGE}/share/doc/qeCore/LICENSE"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Section "Library, plug-ins and tool"
  SectionIn RO
  SetOutPath "$INSTDIR\bin"
  File "${STAGE}/bin/*.dll" "${STAGE}/bin/*.qem" "${STAGE}/bin/*.exe"
  SetOutPath "$INSTDIR\share\doc"
  File /r "${STAGE}/share/doc/qeCore"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKCU "${KEY}" "DisplayName" "qeCore"
  WriteRegStr HKCU "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${KEY}" "Publisher" "the qeCore authors"
  WriteRegStr HKCU "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKCU "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${KEY}" "NoModify" 1
  WriteRegDWORD HKCU "${KEY}" "NoRepair" 1
SectionEnd

Section "For developers: headers, import libraries, templates"
  SetOutPath "$INSTDIR"
  File /r "${STAGE}/include" "${STAGE}/lib"
  SetOutPath "$INSTDIR\share"
  File /r "${STAGE}/share/qecore"
SectionEnd

Section /o "Symbols for debuggers"
  SetOutPath "$INSTDIR\bin"
  File "${STAGE}/bin/*.debug" "${STAGE}/bin/qeCore.dll-gdb.py"
SectionEnd

; Only what was installed: the folder may hold files of the user, too.
Section "Uninstall"
  RMDir /r "$INSTDIR\include\qecore"
  RMDir /r "$INSTDIR\lib\cmake\qeCore"
  RMDir /r "$INSTDIR\share\qecore"
  RMDir /r "$INSTDIR\share\doc\qeCore"
  Delete "$INSTDIR\lib\pkgconfig\qeCore.pc"
  Delete "$INSTDIR\lib\libqeCore.a"
  Delete "$INSTDIR\lib\libqeCore.dll.a"
  Delete "$INSTDIR\lib\qeCore.lib"
  Delete "$INSTDIR\bin\qeCore.dll*"
  Delete "$INSTDIR\bin\qewic.qem*"
  Delete "$INSTDIR\bin\qezip.qem*"
  Delete "$INSTDIR\bin\qetool.exe*"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR\include"
  RMDir "$INSTDIR\lib\cmake"
  RMDir "$INSTDIR\lib\pkgconfig"
  RMDir "$INSTDIR\lib"
  RMDir "$INSTDIR\share\doc"
  RMDir "$INSTDIR\share"
  RMDir "$INSTDIR\bin"
  RMDir "$INSTDIR"
  DeleteRegKey HKCU "${KEY}"
SectionEnd
