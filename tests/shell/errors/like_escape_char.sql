-- expect: like_escape_char.sql:2:1: LIKE: the escape must be one character
SELECT 'ab' LIKE 'ab' ESCAPE 'xy';
SELECT 'NOT REACHED';
