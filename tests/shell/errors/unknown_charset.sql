-- expect: unknown_charset.sql:2:1: lxk_charset: unknown character set 'NO_SUCH_SET'
SELECT lxk_charset('NO_SUCH_SET');
SELECT 'NOT REACHED';
