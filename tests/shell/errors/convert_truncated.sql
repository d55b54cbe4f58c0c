-- expect: convert_truncated.sql:3:1: CONVERT: the argument ends inside a character of SHIFT_JIS
SELECT HEX(CONVERT(X'82A0', 'AL16UTF16', 'SHIFT_JIS'));
SELECT HEX(CONVERT(X'82A082', 'AL16UTF16', 'SHIFT_JIS'));
SELECT 'NOT REACHED';
