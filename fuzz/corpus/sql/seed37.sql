SELECT * FROM fonts WHERE id = -- c
1