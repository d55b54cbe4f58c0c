-- expect: regexp_match_parameter.sql:2:1: REGEXP_LIKE: invalid match parameter (error 1760)
SELECT REGEXP_LIKE('abc', 'b', 'I');
SELECT 'NOT REACHED';
