-- expect: unistr_escape.sql:2:1: UNISTR: a backslash is not followed by a backslash or four hexadecimal digits
SELECT UNISTR('ab\12G4');
SELECT 'NOT REACHED';
