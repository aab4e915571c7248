// Where the product lies: published in the environment when the module is
// loaded, read back by the product's libraries.
#pragma once

#include <string>

#include "platform/automation.h"

// Stores this module's handle; with publish true runs PublishProductPath.
// Returns 0.
HRESULT SetModuleHandle(HMODULE module, bool publish);
HMODULE ModuleHandle();

void PublishProductPath();
std::string GetProductPathVariableName();
std::u16string GetProductPathVariableNameW();
std::u16string GetProductPath();
std::u16string GetExtensionsPath();
void ClearProductPath();
std::u16string GetInstalledProductPath(bool x64);
std::u16string GetInstalledBinPath();
std::u16string GetInstalledExtensionsPath();
// Loads a library of the product; a failure is published as the thread's
// error object, and nothing is returned.
void LoadProductLibrary(const OLECHAR *fileName);
// The text before the last separator; empty when there is none.
std::u16string GetDirectoryPart(std::u16string_view path);
// The module's version: what the library reports of itself (Qt's qVersion)
// or else what its file name says. Outputs stay as they were on failure.
void GetModuleVersion(HMODULE module, WORD *major, WORD *minor, WORD *build, WORD *revision);
// Publishes text as the thread's error object with hr; returns hr, or the
// failing step's code.
HRESULT PublishComError(HRESULT hr, const OLECHAR *text, DWORD helpContext);
