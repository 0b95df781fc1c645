#pragma once

/// The names that both directions of the remote method calls share.
constexpr const char* RMI_RootName = "NorvalithRMI";
constexpr const char* RMI_Version = "1.2";
constexpr const char* RMI_Schema = "2.1";

/// The form field in which an envelope may come; a body without it is the envelope.
constexpr const char* RMI_FormPrefix = "CommandBody=";
