#pragma once

inline constexpr HRESULT DB_S_ENDOFROWSET = 0x00040EC6;
inline constexpr HRESULT DB_E_ERRORSOCCURRED = static_cast<HRESULT>(0x80040E21);
