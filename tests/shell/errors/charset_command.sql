-- expect: charset_command.sql:3:1: .charset: lxk_charset: unknown character set 'KLINGON'
.charset SHIFT_JIS
.charset KLINGON
SELECT 'NOT REACHED';
