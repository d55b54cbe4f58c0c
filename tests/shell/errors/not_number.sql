-- expect: not_number.sql:2:1: SUBSTR: argument 2 must be a number
SELECT SUBSTR('abc', 'two');
SELECT 'NOT REACHED';
