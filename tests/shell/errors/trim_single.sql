-- expect: trim_single.sql:2: TRIM: the trim character must be one character
SELECT TRIM('abcab', 'ab');
SELECT 'NOT REACHED';
