-- expect: regexp_pattern.sql:2:1: REGEXP_SUBSTR: unmatched bracket in the regular expression (error 12725)
SELECT REGEXP_SUBSTR('abc', '[a');
SELECT 'NOT REACHED';
