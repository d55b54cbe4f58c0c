-- expect: arity.sql:2:8: wrong number of arguments to function UPPER()
SELECT UPPER('a', 'b');
SELECT 'NOT REACHED';
