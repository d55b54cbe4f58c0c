-- expect: concat_arity.sql:2: CONCAT: needs at least two arguments
SELECT CONCAT('a');
SELECT 'NOT REACHED';
