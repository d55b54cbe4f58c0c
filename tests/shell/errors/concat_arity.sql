-- expect: concat_arity.sql:2:1: CONCAT: needs at least two arguments
SELECT CONCAT('a');
SELECT 'NOT REACHED';
