-- expect: substr_unit.sql:3:1: SUBSTR: unknown length unit 'WORDS'
SELECT SUBSTR('abc', 2);
SELECT SUBSTR('abc', 1, 1,
  'WORDS');
SELECT 'NOT REACHED';
