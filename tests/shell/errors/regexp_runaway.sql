-- expect: regexp_runaway.sql:2:1: REGEXP_COUNT: the search backtracked too often and was stopped (error 12730)
SELECT REGEXP_COUNT(printf('%.*c', 40, 'a') || '!', '^(a+)+$');
SELECT 'NOT REACHED';
