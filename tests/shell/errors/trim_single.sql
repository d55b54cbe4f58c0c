-- expect: trim_single.sql:2:1: TRIM: the trim character must be one character
SELECT TRIM('abcab', 'ab');
SELECT 'NOT REACHED';
